#include "io/line_reader.h"

LineReader::Result LineReader::next(std::string* line) {
    bool isTooLong = false;
    size_t searched = start;
    for (;;) {
        size_t const end = buffer.find('\n', searched);
        if (end != buffer.npos) {
            line->assign(buffer, start, end - start);
            start = end + 1;
            return isTooLong || line->size() > maxLength ? Result::tooLong : Result::line;
        }
        if (buffer.size() - start > maxLength) {
            isTooLong = true;
            start = buffer.size();
        }
        buffer.erase(0, start);
        start = 0;
        searched = buffer.size();
        buffer.resize(searched + pieceSize);
        size_t const size =
            input.readSome({reinterpret_cast<unsigned char*>(buffer.data()) + searched, pieceSize});
        buffer.resize(searched + size);
        if (size > 0)
            continue;
        if (buffer.empty())
            return isTooLong ? Result::tooLong : Result::end;
        *line = std::move(buffer);
        buffer.clear();
        return isTooLong ? Result::tooLong : Result::line;
    }
}
