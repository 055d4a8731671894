#include "kp/message.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace kp {

namespace {

using Field = message::Field;

bool standsBefore(Field const& field, std::pair<uint32_t, FieldType> key) {
    return std::pair(field.id, field.type()) < key;
}

/// The field of that type and id in a sorted sequence, or null.
Field const* findField(std::span<Field const> fields, FieldType type, uint32_t id) {
    auto const found = std::lower_bound(fields.begin(), fields.end(), std::pair(id, type), standsBefore);
    return found != fields.end() && found->id == id && found->type() == type ? &*found : nullptr;
}

/// Its value, or null if the field is absent.
template <typename T>
T const* findValue(std::span<Field const> fields, FieldType type, uint32_t id) {
    Field const* const field = findField(fields, type, id);
    return field != nullptr ? std::get_if<T>(&field->value) : nullptr;
}

} // namespace

bool message::getBool(uint32_t id, bool fallback) const {
    auto const* const value = findValue<bool>(allFields, FieldType::boolean, id);
    return value != nullptr ? *value : fallback;
}

uint32_t message::getU32(uint32_t id, uint32_t fallback) const {
    auto const* const value = findValue<uint32_t>(allFields, FieldType::u32, id);
    return value != nullptr ? *value : fallback;
}

std::string_view message::getString(uint32_t id, std::string_view fallback) const {
    auto const* const value = findValue<std::string>(allFields, FieldType::string, id);
    return value != nullptr ? *value : fallback;
}

std::span<unsigned char const> message::getRaw(uint32_t id, std::span<unsigned char const> fallback) const {
    auto const* const value = findValue<Raw>(allFields, FieldType::raw, id);
    return value != nullptr ? *value : fallback;
}

std::span<std::string const> message::getStrings(uint32_t id, std::span<std::string const> fallback) const {
    auto const* const value = findValue<Strings>(allFields, FieldType::strings, id);
    return value != nullptr ? *value : fallback;
}

bool message::has(FieldType type, uint32_t id) const { return findField(allFields, type, id) != nullptr; }

void message::set(Field field) {
    auto const key = std::pair(field.id, field.type());
    auto const place = std::lower_bound(allFields.begin(), allFields.end(), key, standsBefore);
    if (place != allFields.end() && std::pair(place->id, place->type()) == key)
        *place = std::move(field);
    else
        allFields.insert(place, std::move(field));
}

void message::setBool(uint32_t id, bool value) { set({id, value}); }
void message::setU32(uint32_t id, uint32_t value) { set({id, value}); }
void message::setString(uint32_t id, std::string_view value) { set({id, std::string(value)}); }
void message::setRaw(uint32_t id, std::span<unsigned char const> value) {
    set({id, Raw(value.begin(), value.end())});
}
void message::setStrings(uint32_t id, Strings value) { set({id, std::move(value)}); }

bool message::remove(FieldType type, uint32_t id) {
    Field const* const field = findField(allFields, type, id);
    if (field == nullptr)
        return false;
    allFields.erase(allFields.begin() + (field - allFields.data()));
    return true;
}

} // namespace kp
