#include "feeds/scenario/Output.h"

#include <string>
#include <utility>

namespace Scenario {

void Output::print(std::string_view member, OrderedJson content) {
    if (closed_) {
        return;
    }
    OrderedJson line;
    line["t"] = clock_->now();
    line[std::string(member)] = std::move(content);
    out_ << line.dump(-1, ' ', false, OrderedJson::error_handler_t::replace) << '\n';
}

}  // namespace Scenario
