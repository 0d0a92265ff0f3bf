#include "Pell/TraceHandle.h"

#include "Zin/Registry.h"

#include <algorithm>
#include <functional>
#include <map>
#include <string>

namespace Pell {
namespace {

Zin::ModuleRegistration const module{{.name = "Pell", .dependsOn = {"Zin"}}};

struct Registry {
    std::vector<TraceHandle*> handles;
    std::map<std::string, int, std::less<>> levelOfClass;
    int levelOfOthers = 0;

    int level(std::string_view className) const {
        auto const own = levelOfClass.find(className);
        return own == levelOfClass.end() ? levelOfOthers : own->second;
    }
};

// Made by the first handle, hence destroyed after the last: handles are static objects mostly, made
// in any order.
Registry& registry() {
    static Registry theRegistry;
    return theRegistry;
}

}  // namespace

TraceHandle::TraceHandle(std::string_view className)
    : className_(className), level_(registry().level(className)) {
    registry().handles.push_back(this);
}

TraceHandle::~TraceHandle() { std::erase(registry().handles, this); }

void traceLevelIs(std::string_view className, int level) {
    Registry& all = registry();
    if (className == "*") {
        all.levelOfClass.clear();
        all.levelOfOthers = level;
    } else {
        all.levelOfClass.insert_or_assign(std::string(className), level);
    }
    for (TraceHandle* handle : all.handles) {
        handle->level_ = all.level(handle->className());
    }
}

int traceLevel(std::string_view className) { return registry().level(className); }

std::vector<std::string_view> traceClassNames() {
    std::vector<std::string_view> names;
    for (TraceHandle const* handle : registry().handles) {
        names.push_back(handle->className());
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

}  // namespace Pell
