#include "Zin/Registry.h"

#include <algorithm>

#include "Zin/Module.h"

namespace Zin {
namespace {

// Made by the first registration and never destroyed: static objects of any file may come and go
// before and after it.
std::vector<ModuleRecord const*>& modules() {
    static auto& all = *new std::vector<ModuleRecord const*>;
    return all;
}

template <class Record>
std::vector<Record const*> sortedByName(std::vector<Record const*> records) {
    std::ranges::stable_sort(records, {}, &Record::name);
    return records;
}

}  // namespace

AttributeRecord const* TypeRecord::attribute(std::string_view attributeName) const {
    auto const found = std::ranges::find(attributes, attributeName, &AttributeRecord::name);
    return found == attributes.end() ? nullptr : &*found;
}

std::vector<ModuleRecord const*> registeredModules() { return sortedByName(modules()); }

std::vector<TypeRecord const*> registeredTypes() {
    std::vector<TypeRecord const*> types;
    for (ModuleRecord const* const record : modules()) {
        for (TypeRecord const& type : record->types) {
            types.push_back(&type);
        }
    }
    return sortedByName(std::move(types));
}

TypeRecord const* registeredType(std::string_view name) {
    auto const types = registeredTypes();
    auto const found = std::ranges::find(types, name, &TypeRecord::name);
    return found == types.end() ? nullptr : *found;
}

ModuleRegistration::ModuleRegistration(ModuleRecord record) : record_(std::move(record)) {
    modules().push_back(&record_);
}

ModuleRegistration::~ModuleRegistration() { std::erase(modules(), &record_); }

ModuleRegistration const module{{.name = "Zin"}};

}  // namespace Zin
