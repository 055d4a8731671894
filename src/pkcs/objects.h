/// Visits the objects of a file, for readers that want some kinds of them.
#pragma once

#include "sealkit/objects.h"

#include <functional>
#include <string_view>

namespace detail {

struct WalkOptions {
    FormRules forms = FormRules::standard;
    bool withBytes = false; ///< Whether objects include their bytes.
};

/// A file converted by `makePlain`. The file must outlive it.
class PlainFile {
public:
    PlainFile(asn1::blob file, std::vector<InputNote>* notes)
        : view(makePlain(file, &rewritten, notes) ? asn1::blob(rewritten.data(), rewritten.size()) : file) {}
    PlainFile(PlainFile const&) = delete;
    PlainFile& operator=(PlainFile const&) = delete;

    operator asn1::blob() const { return view; }

private:
    WipedBytes rewritten;
    asn1::blob view;
};

/// Passes the objects of a file to `take` until it returns false.
void walkObjects(PlainFile const& file, WalkOptions const& options, std::vector<InputNote>& notes,
                 std::function<bool(InputObject&&)> const& take);

/// The kind of object that a PEM label names; `InputKind::unknown` for an unknown label.
InputKind kindOfLabel(std::string_view label);

} // namespace detail
