// What this process is made of: the modules that have been loaded, the types that they register,
// and the attributes of each type. Filled at load time by static objects, listed by diagnostics.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Zin/Entity.h"

namespace Zin {

// An attribute as it can be asked for by name.
struct AttributeRecord {
    std::string name;
    std::string type;
    // For an attribute that a machine reacts to: handles every element of it anew, as after a
    // start. Empty for the others. The entity must be of the type that the record belongs to.
    void (*handleAll)(Entity& owner) = nullptr;
};

struct TypeRecord {
    std::string name;  // qualified: "IpLib::IntfAddrEntryKey"
    std::vector<AttributeRecord> attributes;

    // The attribute's record, or null where the type has no such attribute.
    AttributeRecord const* attribute(std::string_view attributeName) const;
};

// A module and the modules whose types it builds on.
struct ModuleRecord {
    std::string name;
    std::vector<std::string> dependsOn;
};

// Everything registered, sorted by name.
std::vector<TypeRecord const*> registeredTypes();
std::vector<ModuleRecord const*> registeredModules();
// The record of the type, or null where none has that name.
TypeRecord const* registeredType(std::string_view name);

// Static objects of these two register their record for as long as they live.
class TypeRegistration {
public:
    explicit TypeRegistration(TypeRecord record);
    ~TypeRegistration();
    TypeRegistration(TypeRegistration const&) = delete;
    TypeRegistration& operator=(TypeRegistration const&) = delete;

private:
    TypeRecord const record_;
};

class ModuleRegistration {
public:
    explicit ModuleRegistration(ModuleRecord record);
    ~ModuleRegistration();
    ModuleRegistration(ModuleRegistration const&) = delete;
    ModuleRegistration& operator=(ModuleRegistration const&) = delete;

private:
    ModuleRecord const record_;
};

}  // namespace Zin
