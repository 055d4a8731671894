/// A message: the platform's record of typed fields that are addressed by numeric ids.
///
/// | type | in C++ | getter, setter |
/// | --- | --- | --- |
/// | boolean | `bool` | `getBool`, `setBool` |
/// | u32 | `uint32_t` | `getU32`, `setU32` |
/// | string | `std::string` | `getString`, `setString` |
/// | raw | `std::vector<unsigned char>` | `getRaw`, `setRaw` |
/// | string array | `std::vector<std::string>` | `getStrings`, `setStrings` |
///
/// Every field is absent or present. Type and id together name a field: bool 12 and u32 12 are two
/// independent fields. The getter of an absent field returns its default, even if another type has the same
/// id. Strings and raw fields may contain any bytes, including zero.
///
/// A message does not know the meaning of its fields, and does not convert between types.
#pragma once

#include "kp/export.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kp {

/// The types of fields. The values are those of stored records.
enum class FieldType : unsigned { boolean = 1, u32 = 2, string = 3, raw = 4, strings = 5 };

/// Typed fields by numeric id. A default message is empty.
class KP_API message {
public:
    using Raw = std::vector<unsigned char>;
    using Strings = std::vector<std::string>;

    struct Field {
        uint32_t id;
        /// The alternatives have the order of `FieldType`.
        std::variant<bool, uint32_t, std::string, Raw, Strings> value;

        FieldType type() const { return static_cast<FieldType>(value.index() + 1); }
        friend bool operator==(Field const&, Field const&) = default;
    };

    /// The field of that type and id, or `fallback` if it is absent. The views of `getString`,
    /// `getRaw` and `getStrings` are valid until the message changes or is destroyed; a fallback is returned
    /// as the view that was passed.
    bool getBool(uint32_t id, bool fallback = false) const;
    uint32_t getU32(uint32_t id, uint32_t fallback = 0) const;
    std::string_view getString(uint32_t id, std::string_view fallback = {}) const;
    std::span<unsigned char const> getRaw(uint32_t id, std::span<unsigned char const> fallback = {}) const;
    std::span<std::string const> getStrings(uint32_t id, std::span<std::string const> fallback = {}) const;

    /// Whether the message has a field of that type and id, even an empty string, raw or array.
    bool has(FieldType type, uint32_t id) const;
    bool hasBool(uint32_t id) const { return has(FieldType::boolean, id); }
    bool hasU32(uint32_t id) const { return has(FieldType::u32, id); }
    bool hasString(uint32_t id) const { return has(FieldType::string, id); }
    bool hasRaw(uint32_t id) const { return has(FieldType::raw, id); }
    bool hasStrings(uint32_t id) const { return has(FieldType::strings, id); }

    /// Sets the field of that type and id, which is present afterwards.
    void setBool(uint32_t id, bool value);
    void setU32(uint32_t id, uint32_t value);
    void setString(uint32_t id, std::string_view value);
    void setRaw(uint32_t id, std::span<unsigned char const> value);
    void setStrings(uint32_t id, Strings value);

    /// Removes the field of that type and id. Returns false if it was absent.
    bool remove(FieldType type, uint32_t id);

    /// Whether the message has no fields.
    bool empty() const { return allFields.empty(); }

    /// Every field, by ascending id and under one id in the order of `FieldType`. The view is valid
    /// until the message changes or is destroyed.
    std::span<Field const> fields() const { return allFields; }

    /// The same fields with the same values.
    friend bool operator==(message const&, message const&) = default;

private:
    void set(Field field);

    std::vector<Field> allFields;
};

} // namespace kp
