#include "io/hex.h"
#include "io/number.h"
#include "io/report.h"
#include "io/terminal.h"
#include "verbs/verb.h"

#include <kp/store.h>
#include <kp/text.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <optional>

namespace {

using kp::FieldType;
using kp::message;
using terminal::printable;

struct StoreOptions {
    std::string store;
    std::optional<int32_t> id;
    std::vector<std::string> fields;
    bool replace = false;
};

struct TypeName {
    FieldType type;
    char const* name;
};

constexpr TypeName typeNames[] = {
    {FieldType::boolean, "bool"},         {FieldType::u32, "u32"},
    {FieldType::string, "string"},        {FieldType::raw, "raw"},
    {FieldType::strings, "string-array"},
};

std::string recordName(StoreOptions const& options, int32_t id) {
    return "record " + std::to_string(id) + " of the store \"" + options.store + "\"";
}

int noRecord(StoreOptions const& options) {
    return answerNo("there is no " + recordName(options, *options.id));
}

// Writing fields in the form in which they are set: "12=bool:true".

std::string valueText(bool value) { return value ? "true" : "false"; }
std::string valueText(uint32_t value) { return formatHex(value); }
std::string valueText(std::string const& value) { return printableLine(value); }
std::string valueText(message::Raw const& value) { return toHex(value); }

void print(message::Field const& field) {
    // The platform's ids are small decimal numbers; those of applications are large hexadecimal ones.
    std::string const id = field.id < 0x10000 ? std::to_string(field.id) : formatHex(field.id);
    auto const entry =
        std::find_if(std::begin(typeNames), std::end(typeNames),
                     [&](TypeName const& candidate) { return candidate.type == field.type(); });
    std::string const start = id + "=" + entry->name;
    std::visit(
        [&](auto const& value) {
            if constexpr (std::is_same_v<decltype(value), message::Strings const&>) {
                if (value.empty())
                    terminal::out() << start << '\n';
                for (std::string const& item : value)
                    terminal::out() << start << ':' << printableLine(item) << '\n';
            } else {
                terminal::out() << start << ':' << valueText(value) << '\n';
            }
        },
        field.value);
}

/// The value in JSON: bytes in hexadecimal, texts printable.
nlohmann::ordered_json describe(message::Field const& field) {
    auto const entry = std::ranges::find(typeNames, field.type(), &TypeName::type);
    nlohmann::ordered_json described{{"id", field.id}, {"type", entry->name}};
    std::visit(
        [&](auto const& value) {
            if constexpr (std::is_same_v<decltype(value), message::Strings const&>) {
                described["value"] = nlohmann::json::array();
                for (std::string const& item : value)
                    described["value"].push_back(printableLine(item));
            } else if constexpr (std::is_same_v<decltype(value), message::Raw const&> ||
                                 std::is_same_v<decltype(value), std::string const&>) {
                described["value"] = valueText(value);
            } else {
                described["value"] = value;
            }
        },
        field.value);
    return described;
}

// Reading fields.

bool setBool(message& record, uint32_t id, std::string const& text) {
    if (text != "true" && text != "false")
        return false;
    record.setBool(id, text == "true");
    return true;
}

bool setU32(message& record, uint32_t id, std::string const& text) {
    auto const value = parseNumber<uint32_t>(text);
    if (value)
        record.setU32(id, *value);
    return value.has_value();
}

bool setRaw(message& record, uint32_t id, std::string const& text) {
    message::Raw value;
    if (!hex2bin(text, &value))
        return false;
    record.setRaw(id, value);
    return true;
}

/// Sets the fields of the arguments; the strings of one array may come in several. Returns false, with the
/// malformed argument in `*bad`, on failure.
bool setFields(message& record, std::vector<std::string> const& arguments, std::string* bad) {
    std::map<uint32_t, message::Strings> arrays;
    for (std::string const& argument : arguments) {
        *bad = argument;
        size_t const equals = std::min(argument.find('='), argument.size());
        size_t const colon = std::min(argument.find(':', equals), argument.size());
        auto const id = parseNumber<uint32_t>(argument.substr(0, equals));
        if (!id || equals == argument.size())
            return false;
        std::string const type = argument.substr(equals + 1, colon - equals - 1);
        auto const entry = std::find_if(std::begin(typeNames), std::end(typeNames),
                                        [&](TypeName const& candidate) { return candidate.name == type; });
        bool const hasValue = colon < argument.size();
        if (entry == std::end(typeNames) || (!hasValue && entry->type != FieldType::strings))
            return false;
        std::string const value = hasValue ? argument.substr(colon + 1) : "";
        bool good = true;
        switch (entry->type) {
        case FieldType::boolean:
            good = setBool(record, *id, value);
            break;
        case FieldType::u32:
            good = setU32(record, *id, value);
            break;
        case FieldType::string:
            record.setString(*id, value);
            break;
        case FieldType::raw:
            good = setRaw(record, *id, value);
            break;
        case FieldType::strings:
            if (message::Strings& array = arrays[*id]; hasValue)
                array.push_back(value);
            break;
        }
        if (!good)
            return false;
    }
    for (auto& [id, array] : arrays)
        record.setStrings(id, std::move(array));
    return true;
}

// The verbs.

int listStores() {
    if (report::isJson()) {
        auto names = nlohmann::ordered_json::array();
        for (std::string const& name : kp::storeNames())
            names.push_back(printableLine(name));
        report::set({{"stores", std::move(names)}});
        return exitDone;
    }
    for (std::string const& name : kp::storeNames())
        terminal::out() << name << '\n';
    return exitDone;
}

int listIds(kp::Store& store, StoreOptions const& options) {
    if (report::isJson()) {
        report::set({{"store", printableLine(options.store)}, {"ids", store.ids()}});
        return exitDone;
    }
    for (int32_t id : kp::Allocator(store))
        terminal::out() << id << '\n';
    return exitDone;
}

int show(kp::Store& store, StoreOptions const& options) {
    std::vector<int32_t> ids = store.ids();
    if (options.id) {
        if (!std::binary_search(ids.begin(), ids.end(), *options.id))
            return noRecord(options);
        ids = {*options.id};
    }
    int status = exitDone;
    auto records = nlohmann::ordered_json::array();
    for (int32_t id : ids) {
        auto const record = store.find(id);
        if (!record) {
            status = badInput(recordName(options, id) + " is damaged");
            continue;
        }
        if (report::isJson()) {
            auto fields = nlohmann::ordered_json::array();
            for (message::Field const& field : record->fields())
                fields.push_back(describe(field));
            records.push_back({{"id", id}, {"fields", std::move(fields)}});
            continue;
        }
        if (!options.id)
            terminal::out() << "record " << id << '\n';
        for (message::Field const& field : record->fields())
            print(field);
    }
    if (report::isJson())
        report::set({{"store", printableLine(options.store)}, {"records", std::move(records)}});
    return status;
}

int set(kp::Store& store, StoreOptions const& options) {
    if (options.fields.empty() && !options.replace)
        return wrongUsage("no field to set");
    message record = options.replace ? message() : store.get(*options.id);
    if (std::string bad; !setFields(record, options.fields, &bad))
        return wrongUsage("\"" + bad + "\" is not FIELD=TYPE:VALUE");
    if (!store.put(*options.id, record))
        return badInput(recordName(options, *options.id) + " could not be written: " + std::strerror(errno));
    return exitDone;
}

int remove(kp::Store& store, StoreOptions const& options) {
    if (store.remove(*options.id))
        return exitDone;
    if (errno == ENOENT)
        return noRecord(options);
    return badInput(recordName(options, *options.id) + " could not be removed: " + std::strerror(errno));
}

using WorkOnStore = int (*)(kp::Store& store, StoreOptions const& options);

/// The work of a verb on the store of the options.
Work onStore(std::shared_ptr<StoreOptions> const& options, WorkOnStore work) {
    return [options, work] {
        kp::Store store(options->store);
        if (!store.valid())
            return wrongUsage("\"" + options->store +
                              "\" is not the name of a store, or there is no platform root");
        return work(store, *options);
    };
}

Work listStoreVerb(CommandLine commandLine) {
    auto options = std::make_shared<StoreOptions>();
    commandLine.text("STORE", options->store, "list the ids of this store's records");
    commandLine.json();
    commandLine.footer("Without STORE, lists the names of the stores.\n\n"
                       "Examples:\n"
                       "  sealkit store list\n"
                       "  sealkit store list cert/settings");
    return [options, work = onStore(options, listIds)] {
        return options->store.empty() ? listStores() : work();
    };
}

Work showVerb(CommandLine commandLine) {
    auto options = std::make_shared<StoreOptions>();
    commandLine.text("STORE", options->store, "the name of the store (\"cert/settings\")").required();
    commandLine.number("ID", options->id, "the id of the record; by default all records");
    commandLine.json();
    commandLine.footer("Prints one field on each line, in the form that \"store set\" takes.\n\n"
                       "Examples:\n"
                       "  sealkit store show cert/settings\n"
                       "  sealkit store show cert/settings 0 --json");
    return onStore(options, show);
}

Work setVerb(CommandLine commandLine) {
    auto options = std::make_shared<StoreOptions>();
    commandLine.text("STORE", options->store, "the name of the store (\"cert/settings\")").required();
    commandLine.number("ID", options->id, "the id of the record").required();
    commandLine.texts("FIELD", options->fields, "a field of the record: FIELD=TYPE:VALUE");
    commandLine.flag("--replace", options->replace, "remove the record's other fields");
    commandLine.footer(
        "Types and their values:\n"
        "  bool          true or false\n"
        "  u32           a number of 32 bits, decimal or 0x...\n"
        "  string        the text as it is\n"
        "  raw           bytes in hexadecimal\n"
        "  string-array  one string; give the field again for each further one. FIELD=string-array\n"
        "                alone is an empty array\n\n"
        "Examples:\n"
        "  sealkit store set cert/settings 0 7=u32:0x10\n"
        "  sealkit store set cerm 5 0x10007=string:name --replace");
    return onStore(options, set);
}

Work removeRecordVerb(CommandLine commandLine) {
    auto options = std::make_shared<StoreOptions>();
    commandLine.text("STORE", options->store, "the name of the store").required();
    commandLine.number("ID", options->id, "the id of the record").required();
    commandLine.footer("Exits with 1 if there is no such record.\n\n"
                       "Examples:\n"
                       "  sealkit store remove cert/settings 0");
    return onStore(options, remove);
}

} // namespace

Work setUpStore(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"list", "list the stores, or the records of one", listStoreVerb},
        {"show", "show a record, or all of a store", showVerb},
        {"set", "set fields of a record", setVerb},
        {"remove", "remove a record", removeRecordVerb},
    };
    commandLine.footer(
        "A store holds numbered records, and a record numbered fields. Stores are in rw/store of\n"
        "the platform root: $KP_ROOT, otherwise / if /kelp exists, otherwise\n"
        "~/.local/share/sealkit.");
    return commandLine.verbs(verbs);
}
