// What this process is made of: the modules that have been loaded, the types that they register,
// and the attributes of each type. Filled at load time by static objects, listed by diagnostics.
//
// A module's record refers to the records of those that it builds on, so a program that is linked
// with a module, be it from an archive, is linked with all of their records.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Zin/Entity.h"

namespace Zin {

// An attribute as it can be asked for by name.
struct AttributeRecord {
    std::string name;  // "intfId"
    std::string type;  // qualified: "Nimb::IntfId"
    // For an attribute that a machine reacts to: handles every element of it anew, as after a
    // start. Empty for the others. The entity must be of the type that the record belongs to.
    void (*handleAgain)(Entity& owner) = nullptr;
    // For an attribute that may not have every value of its type: throws RangeError if it has
    // another in `*owner`, which must be of the type that the record belongs to. Empty for the
    // others.
    void (*check)(void const* owner) = nullptr;
};

// A type and its attributes.
struct TypeRecord {
    std::string name;                         // qualified: "IpLib::IntfAddrEntryKey"
    std::vector<AttributeRecord> attributes;  // as the module lists them

    // The attribute's record, or null where the type has no such attribute.
    AttributeRecord const* attribute(std::string_view attributeName) const;
};

class ModuleRegistration;

// A module, the modules whose types it builds on, and the types that can be asked for by name.
struct ModuleRecord {
    std::string name;                                       // "IpLib::IntfAddrVrfTableSm"
    std::vector<ModuleRegistration const*> dependsOn = {};  // borrowed
    std::vector<TypeRecord> types = {};                     // that are its own
};

// Everything registered, sorted by name.
std::vector<TypeRecord const*> registeredTypes();
std::vector<ModuleRecord const*> registeredModules();
// The record of the type, or null where none has that name.
TypeRecord const* registeredType(std::string_view name);

// A static object of this, declared in the module's Module.h, registers its record for as long as
// it lives.
class ModuleRegistration {
public:
    explicit ModuleRegistration(ModuleRecord record);
    ~ModuleRegistration();
    ModuleRegistration(ModuleRegistration const&) = delete;
    ModuleRegistration& operator=(ModuleRegistration const&) = delete;

    ModuleRecord const& record() const { return record_; }

private:
    ModuleRecord const record_;
};

}  // namespace Zin
