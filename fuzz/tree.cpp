#include "sealkit/asn1_tree.h"

#include "targets.h"

#include <algorithm>

/// Elements follow each other within their parents, the element at an offset is that of the walk, and texts
/// are bounded.
void fuzz::tree(asn1::blob input) {
    asn1::TreeWalker walker(input);
    size_t before = 0, count = 0;
    constexpr size_t maxLookups = 64, maxLength = 64;
    std::vector<size_t> ends = {input.size()};
    while (walker.next()) {
        asn1::TreeElement const& element = walker.element();
        size_t const start = element.offset + element.headerLength;
        size_t const end = start + element.content.size();
        SEALKIT_ASSERT(element.depth < asn1::TreeWalker::maxDepth + 1);
        SEALKIT_ASSERT(count == 0 || element.offset > before);
        SEALKIT_ASSERT(element.content.start == input.start + start && end <= input.size());
        SEALKIT_ASSERT(element.depth < ends.size() && end <= ends[element.depth]);
        ends.resize(element.depth + 1);
        ends.push_back(end);
        if (element.length && !element.isTruncated && !element.isEndOfContents && count < maxLookups) {
            SEALKIT_ASSERT(*element.length == element.content.size());
            asn1::blob const found = asn1::findElement(input, element.offset);
            SEALKIT_ASSERT(found ==
                           asn1::blob(input.start + element.offset, element.headerLength + *element.length));
        }
        SEALKIT_ASSERT(!tagName(element).empty());
        valueText(element, maxLength);
        before = element.offset;
        ++count;
    }
    SEALKIT_ASSERT(!walker.next());
    SEALKIT_ASSERT(walker.isComplete() || walker.refusal().offset <= input.size());
    SEALKIT_ASSERT(asn1::derText(input, maxLength).size() < 40 * maxLength);
}
