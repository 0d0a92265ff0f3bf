// The fields of one operation: which there are, and their values.
//
// A list of Field says what an object may and must have; what a field's value is, the operation
// says when it takes it. Whatever is wrong with them is a LineError that names the field and its
// value.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "L3/VrfName.h"
#include "Nimb/IntfId.h"
#include "Zin/Format.h"
#include "Zin/Seconds.h"
#include "Zin/Text.h"
#include "feeds/scenario/FileError.h"
#include "feeds/scenario/Json.h"

namespace Scenario {

struct Field {
    enum class Presence { required, optional };

    std::string_view name;
    Presence presence = Presence::required;
    // What an absent field is; discarded: nothing is put in its place.
    Json byDefault = Json::value_t::discarded;
};

// `byDefault` is JSON, or empty where there is none.
Field optional(std::string_view name, std::string_view byDefault = {});

// "vrf, intf, [deprecated false]"
std::string toText(std::vector<Field> const& syntax);

class Fields {
public:
    // `path` stands before the fields' names in messages.
    Fields(Json object, std::vector<Field> const& syntax, std::string path = {});

    bool has(std::string_view name) const { return object_.contains(name); }
    Json const& json(std::string_view name) const { return object_.at(name); }

    std::string const& text(std::string_view name) const;
    bool flag(std::string_view name) const;
    // Finite.
    Zin::Seconds number(std::string_view name) const;
    std::uint32_t count(std::string_view name, std::uint32_t most = 0xffffffff) const;
    Json const& list(std::string_view name) const;
    Json const& object(std::string_view name) const;

    L3::VrfName vrf(std::string_view name = "vrf") const { return text(name); }
    Nimb::IntfId intf(std::string_view name = "intf") const { return text(name); }
    // A value by its short text form; `what` is the kind of thing that it is to be.
    template <class Value>
    Value value(std::string_view name, std::string_view what) const {
        return valueOf<Value>(text(name), name, what);
    }
    // A list of such.
    template <class Value>
    std::vector<Value> values(std::string_view name, std::string_view what) const;
    // A list of objects.
    std::vector<Fields> objects(std::string_view name, std::vector<Field> const& syntax) const;

    // What is wrong with a field.
    LineError error(std::string_view name, std::string_view expected) const;

private:
    template <class Value>
    Value valueOf(std::string const& text, std::string_view name, std::string_view what) const;
    LineError error(std::string_view name, Json const& found, std::string_view expected) const;

    Json object_;
    std::string path_;
};

template <class Value>
Value Fields::valueOf(std::string const& text, std::string_view name, std::string_view what) const {
    try {
        return Zin::strepToValue<Value>(text);
    } catch (Zin::Error const& error) {
        throw LineError(fmt::format("field '{}{}': '{}' is not {}: {}", path_, name,
                                    shortened(text), what, error.what()));
    }
}

template <class Value>
std::vector<Value> Fields::values(std::string_view name, std::string_view what) const {
    std::vector<Value> found;
    for (Json const& item : list(name)) {
        if (!item.is_string()) {
            throw error(name, item, "a list of texts");
        }
        found.push_back(valueOf<Value>(item.get_ref<std::string const&>(), name, what));
    }
    return found;
}

}  // namespace Scenario
