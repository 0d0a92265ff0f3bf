#include "Pell/TraceHandle.h"

#include "Pell/Module.h"
#include "Zin/Module.h"

#include <algorithm>
#include <utility>

namespace Pell {
namespace {

struct Registry {
    std::vector<TraceHandle*> handles;
    TraceLevels levels;

    int level(std::string_view className) const {
        auto const own = levels.ofClass.find(className);
        return std::clamp(own == levels.ofClass.end() ? levels.ofOthers : own->second, 0, 9);
    }
};

// Made by the first handle, hence destroyed after the last: handles are static objects mostly, made
// in any order.
Registry& registry() {
    static Registry theRegistry;
    return theRegistry;
}

}  // namespace

Zin::ModuleRegistration const module{{.name = "Pell", .dependsOn = {&Zin::module}}};

TraceHandle::TraceHandle(std::string_view className)
    : className_(className), level_(registry().level(className)) {
    registry().handles.push_back(this);
}

TraceHandle::~TraceHandle() { std::erase(registry().handles, this); }

TraceLevels traceLevels() { return registry().levels; }

void traceLevelsIs(TraceLevels levels) {
    Registry& all = registry();
    all.levels = std::move(levels);
    for (TraceHandle* handle : all.handles) {
        handle->level_ = all.level(handle->className());
    }
}

void traceLevelIs(std::string_view className, int level) {
    if (className == "*") {
        traceLevelsIs({.ofClass = {}, .ofOthers = level});
    } else {
        TraceLevels levels = traceLevels();
        levels.ofClass.insert_or_assign(std::string(className), level);
        traceLevelsIs(std::move(levels));
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
