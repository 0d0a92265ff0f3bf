#include "Zin/Registry.h"

#include <algorithm>
#include <map>

namespace Zin {
namespace {

// Made by the first registration and never destroyed: static objects of any file may come and go
// before and after it.
template <class Record>
std::multimap<std::string_view, Record const*>& records() {
    static auto& all = *new std::multimap<std::string_view, Record const*>;
    return all;
}

template <class Record>
std::vector<Record const*> listed() {
    std::vector<Record const*> list;
    for (auto const& [name, record] : records<Record>()) {
        list.push_back(record);
    }
    return list;
}

template <class Record>
void forget(Record const& record) {
    std::erase_if(records<Record>(), [&](auto const& entry) { return entry.second == &record; });
}

}  // namespace

AttributeRecord const* TypeRecord::attribute(std::string_view attributeName) const {
    auto const found = std::ranges::find(attributes, attributeName, &AttributeRecord::name);
    return found == attributes.end() ? nullptr : &*found;
}

std::vector<TypeRecord const*> registeredTypes() { return listed<TypeRecord>(); }

std::vector<ModuleRecord const*> registeredModules() { return listed<ModuleRecord>(); }

TypeRecord const* registeredType(std::string_view name) {
    auto const found = records<TypeRecord>().find(name);
    return found == records<TypeRecord>().end() ? nullptr : found->second;
}

TypeRegistration::TypeRegistration(TypeRecord record) : record_(std::move(record)) {
    records<TypeRecord>().emplace(record_.name, &record_);
}

TypeRegistration::~TypeRegistration() { forget(record_); }

ModuleRegistration::ModuleRegistration(ModuleRecord record) : record_(std::move(record)) {
    records<ModuleRecord>().emplace(record_.name, &record_);
}

ModuleRegistration::~ModuleRegistration() { forget(record_); }

namespace {

ModuleRegistration const module{{.name = "Zin", .dependsOn = {}}};

}  // namespace

}  // namespace Zin
