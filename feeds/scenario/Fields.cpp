#include "feeds/scenario/Fields.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Zin/Format.h"

namespace Scenario {

Field optional(std::string_view name, std::string_view byDefault) {
    Field field{name, Field::Presence::optional};
    if (!byDefault.empty()) {
        field.byDefault = Json::parse(byDefault);
    }
    return field;
}

std::string toText(std::vector<Field> const& syntax) {
    std::string text;
    for (Field const& field : syntax) {
        text += text.empty() ? "" : ", ";
        if (field.presence == Field::Presence::required) {
            text += field.name;
        } else {
            text += field.byDefault.is_discarded()
                        ? fmt::format("[{}]", field.name)
                        : fmt::format("[{} {}]", field.name, field.byDefault.dump());
        }
    }
    return text;
}

Fields::Fields(Json object, std::vector<Field> const& syntax, std::string path)
    : object_(std::move(object)), path_(std::move(path)) {
    for (auto const& [name, value] : object_.get_ref<Json::object_t const&>()) {
        if (std::ranges::find(syntax, name, &Field::name) == syntax.end()) {
            throw LineError(fmt::format("unknown field '{}{}'", path_, shortened(name)));
        }
    }
    for (Field const& field : syntax) {
        if (has(field.name)) {
            continue;
        }
        if (field.presence == Field::Presence::required) {
            throw LineError(fmt::format("field '{}{}' is missing", path_, field.name));
        }
        if (!field.byDefault.is_discarded()) {
            object_.emplace(field.name, field.byDefault);
        }
    }
}

std::string const& Fields::text(std::string_view name) const {
    if (auto const* const text = json(name).get_ptr<std::string const*>()) {
        return *text;
    }
    throw error(name, "a text");
}

bool Fields::flag(std::string_view name) const {
    if (!json(name).is_boolean()) {
        throw error(name, "true or false");
    }
    return json(name).get<bool>();
}

Zin::Seconds Fields::number(std::string_view name) const {
    if (!json(name).is_number() || !std::isfinite(json(name).get<Zin::Seconds>())) {
        throw error(name, "a number");
    }
    return json(name).get<Zin::Seconds>();
}

std::uint32_t Fields::count(std::string_view name, std::uint32_t most) const {
    Json const& value = json(name);
    // From 2^63 on, what is read is negative.
    auto const number = value.is_number_integer() ? value.get<std::int64_t>() : -1;
    if (number < 0 || number > most) {
        throw error(name, fmt::format("an integer from 0 to {}", most));
    }
    return static_cast<std::uint32_t>(number);
}

Json const& Fields::list(std::string_view name) const {
    if (!json(name).is_array()) {
        throw error(name, "a list");
    }
    return json(name);
}

Json const& Fields::object(std::string_view name) const {
    if (!json(name).is_object()) {
        throw error(name, "an object");
    }
    return json(name);
}

std::vector<Fields> Fields::objects(std::string_view name, std::vector<Field> const& syntax) const {
    std::vector<Fields> found;
    for (Json const& item : list(name)) {
        if (!item.is_object()) {
            throw error(name, item, "a list of objects");
        }
        found.emplace_back(item, syntax, fmt::format("{}{}[{}].", path_, name, found.size()));
    }
    return found;
}

LineError Fields::error(std::string_view name, std::string_view expected) const {
    return error(name, json(name), expected);
}

LineError Fields::error(std::string_view name, Json const& found, std::string_view expected) const {
    return LineError(fmt::format("field '{}{}': expected {}, found {}", path_, name, expected,
                                 shortened(found.dump())));
}

}  // namespace Scenario
