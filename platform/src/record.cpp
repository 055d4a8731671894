#include "record.h"

#include "kp/store.h"

#include <array>
#include <type_traits>
#include <utility>

namespace kp::detail {

namespace {

constexpr std::string_view magic = "KPRC";
constexpr uint32_t version = 1;
constexpr size_t u32Size = 4;
constexpr size_t headerSize = 3 * u32Size;
constexpr size_t fieldHeaderSize = u32Size + 1 + u32Size;

/// CRC-32 of ISO 3309 and ITU-T V.42 (polynomial 0x04c11db7, bits reflected): it detects every change
/// within 32 neighbouring bits.
constexpr std::array<uint32_t, 256> crcTable = [] {
    std::array<uint32_t, 256> table{};
    for (uint32_t byte = 0; byte < table.size(); ++byte) {
        uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0xedb88320u : crc >> 1;
        table[byte] = crc;
    }
    return table;
}();

uint32_t crc32(std::string_view bytes) {
    uint32_t crc = UINT32_MAX;
    for (char byte : bytes)
        crc = crc >> 8 ^ crcTable[(crc ^ static_cast<unsigned char>(byte)) & 0xff];
    return ~crc;
}

void appendU32(std::string& out, uint32_t number) {
    for (unsigned shift : {24u, 16u, 8u, 0u})
        out += static_cast<char>(number >> shift & 0xff);
}

void appendSized(std::string& out, std::string_view bytes) {
    appendU32(out, static_cast<uint32_t>(bytes.size()));
    out += bytes;
}

std::string_view view(message::Raw const& bytes) {
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

/// At least the size of the field's binary form, and no more than the message takes in memory.
size_t sizeBound(message::Field const& field) {
    size_t size = fieldHeaderSize + u32Size;
    if (auto const* const text = std::get_if<std::string>(&field.value))
        size += text->size();
    else if (auto const* const raw = std::get_if<message::Raw>(&field.value))
        size += raw->size();
    else if (auto const* const strings = std::get_if<message::Strings>(&field.value))
        for (std::string const& string : *strings)
            size += u32Size + string.size();
    return size;
}

struct ValueWriter {
    std::string& out;

    void operator()(bool value) const { appendSized(out, std::string_view(value ? "\1" : "\0", 1)); }
    void operator()(uint32_t value) const {
        appendU32(out, u32Size);
        appendU32(out, value);
    }
    void operator()(std::string const& value) const { appendSized(out, value); }
    void operator()(message::Raw const& value) const { appendSized(out, view(value)); }
    void operator()(message::Strings const& value) const {
        std::string items;
        for (std::string const& item : value)
            appendSized(items, item);
        appendSized(out, items);
    }
};

/// Takes values from the start of bytes. A truncated value sets `failed`, which is never reset, and is read
/// as zero or empty.
struct Reader {
    std::string_view rest;
    bool failed = false;

    std::string_view take(size_t size) {
        if (failed || size > rest.size()) {
            failed = true;
            return {};
        }
        std::string_view const front = rest.substr(0, size);
        rest.remove_prefix(size);
        return front;
    }
    unsigned takeByte() {
        std::string_view const byte = take(1);
        return byte.empty() ? 0 : static_cast<unsigned char>(byte[0]);
    }
    uint32_t takeU32() {
        uint32_t number = 0;
        for (char byte : take(u32Size))
            number = number << 8 | static_cast<unsigned char>(byte);
        return number;
    }
    std::string_view takeSized() { return take(takeU32()); }
};

/// Sets the field to the value in `bytes`; returns false if they are not a value of that type.
bool setField(message& record, uint32_t id, unsigned type, std::string_view bytes) {
    Reader reader{bytes};
    switch (static_cast<FieldType>(type)) {
    case FieldType::boolean: {
        unsigned const value = reader.takeByte();
        if (reader.failed || !reader.rest.empty() || value > 1)
            return false;
        record.setBool(id, value == 1);
        return true;
    }
    case FieldType::u32: {
        uint32_t const value = reader.takeU32();
        if (reader.failed || !reader.rest.empty())
            return false;
        record.setU32(id, value);
        return true;
    }
    case FieldType::string:
        record.setString(id, bytes);
        return true;
    case FieldType::raw:
        record.setRaw(id, {reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size()});
        return true;
    case FieldType::strings: {
        message::Strings values;
        while (!reader.failed && !reader.rest.empty())
            values.emplace_back(reader.takeSized());
        if (reader.failed)
            return false;
        record.setStrings(id, std::move(values));
        return true;
    }
    }
    return false;
}

} // namespace

std::optional<std::string> encodeRecord(message const& record) {
    size_t bound = headerSize + u32Size;
    for (message::Field const& field : record.fields())
        bound += sizeBound(field);
    if (bound > maxRecordSize)
        return std::nullopt;

    std::string body;
    body.reserve(bound);
    for (message::Field const& field : record.fields()) {
        appendU32(body, field.id);
        body += static_cast<char>(field.type());
        std::visit(ValueWriter{body}, field.value);
    }

    std::string out;
    out.reserve(bound);
    out += magic;
    appendU32(out, version);
    appendSized(out, body);
    appendU32(out, crc32(out));
    return out;
}

std::optional<message> decodeRecord(std::string_view bytes) {
    if (bytes.size() < headerSize + u32Size || bytes.size() > maxRecordSize)
        return std::nullopt;
    std::string_view const covered = bytes.substr(0, bytes.size() - u32Size);
    if (Reader checksum{bytes.substr(covered.size())}; checksum.takeU32() != crc32(covered))
        return std::nullopt;

    Reader file{covered};
    if (file.take(magic.size()) != magic || file.takeU32() != version)
        return std::nullopt;
    Reader body{file.takeSized()};
    if (file.failed || !file.rest.empty())
        return std::nullopt;

    message record;
    std::pair<uint32_t, unsigned> previous{0, 0};
    while (!body.rest.empty()) {
        uint32_t const id = body.takeU32();
        unsigned const type = body.takeByte();
        std::string_view const value = body.takeSized();
        // Types start at 1, so the first field is above {0, 0}. Ascending order also puts each field at
        // the end of the message, so reading takes linear time.
        if (body.failed || std::pair(id, type) <= previous || !setField(record, id, type, value))
            return std::nullopt;
        previous = {id, type};
    }
    return record;
}

} // namespace kp::detail
