#include "feeds/scenario/TracePrinter.h"

#include <utility>

namespace Scenario {

TracePrinter::TracePrinter(Output& output, int level, std::vector<std::string> const& classes)
    : output_(output), levelsBefore_(Pell::traceLevels()), sinkBefore_(Pell::sinkIs(this)) {
    Pell::TraceLevels levels{.ofClass = {}, .ofOthers = classes.empty() ? level : 0};
    for (std::string const& name : classes) {
        levels.ofClass[name] = level;
    }
    Pell::traceLevelsIs(std::move(levels));
}

TracePrinter::~TracePrinter() {
    Pell::traceLevelsIs(std::move(levelsBefore_));
    Pell::sinkIs(sinkBefore_);
}

void TracePrinter::trace(Pell::Trace const& trace) {
    output_.print("trace", {{"level", trace.level},
                            {"class", trace.className},
                            {"function", trace.function},
                            {"message", trace.message}});
}

}  // namespace Scenario
