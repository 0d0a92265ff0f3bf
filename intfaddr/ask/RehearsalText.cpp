#include "intfaddr/ask/RehearsalText.h"

#include "Zin/Format.h"
#include "intfaddr/ask/Printable.h"
#include "intfaddr/ask/WatchText.h"

namespace IntfAddr {

namespace {

std::string changeText(Json const& answer) {
    std::string text;
    for (auto const& change : answer["changes"]) {
        text +=
            fmt::format("  after {:>6.1f} s  {}", change["at"].get<double>(), watchText(change));
    }
    for (auto const& remark : answer["remarks"]) {
        text += fmt::format("  {}\n", printable(remark.get<std::string>()));
    }
    return text;
}

}  // namespace

std::string whyNotText(Json const& answer) {
    std::string text = answer["already"].get<bool>() ? "It is configured already:\n"
                                                     : "If it were configured now:\n";
    text += printable(answer["sentence"].get<std::string>()) + '\n';
    for (auto const& reason : answer["reasons"]) {
        text += fmt::format("  - {}\n", printable(reason.get<std::string>()));
    }
    auto const changes = changeText(answer);
    text +=
        changes.empty() ? "No row would come or go.\n" : "Rows that would come (+) and go (-):\n";
    return text + changes;
}

std::string whatIfText(Json const& answer) {
    auto const changes = changeText(answer);
    return changes.empty() ? "No row would come or go.\n" : changes;
}

}  // namespace IntfAddr
