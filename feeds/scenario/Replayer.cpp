#include "feeds/scenario/Replayer.h"

#include <algorithm>
#include <string>
#include <utility>

#include "Zin/Format.h"
#include "feeds/scenario/LineReader.h"
#include "feeds/scenario/Operations.h"

namespace Scenario {

namespace {

Json objectOf(LineReader const& reader) {
    try {
        return readObject(reader.line());
    } catch (LineError const& error) {
        if (reader.hasEnd()) {
            throw;
        }
        throw LineError(fmt::format("the last line is torn: {}", error.what()));
    }
}

Operation const& takeOperation(Json& object) {
    auto const op = object.find("op");
    if (op == object.end()) {
        throw LineError("field 'op' is missing");
    }
    if (!op->is_string()) {
        throw LineError(
            fmt::format("field 'op': expected a text, found {}", shortened(op->dump())));
    }
    Operation const& operation = operationOf(op->get_ref<std::string const&>());
    object.erase(op);
    return operation;
}

}  // namespace

bool isSkipped(std::string_view line) {
    return line.starts_with('#') || line.find_first_not_of(" \t\r") == line.npos;
}

void forEachLine(std::string_view text, std::function<void(std::string_view line)> const& each) {
    while (!text.empty()) {
        auto const end = std::min(text.find('\n'), text.size());
        if (auto const line = text.substr(0, end); !isSkipped(line)) {
            each(line);
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

Run& Replayer::run(Config const& config) {
    if (!run_) {
        run_ = std::make_unique<Run>(out_, config, options_);
    }
    return *run_;
}

void Replayer::handleLine(std::uint64_t number, Json object) {
    Operation const& operation = takeOperation(object);
    auto const at = takeAt(object);
    Fields const fields(std::move(object), operation.fields);
    bool const configures = operation.name == configOp && !run_;
    auto const check = [&] {
        return configures ? Routing::Effect([] {}) : operation.check(*run_, fields);
    };
    run(configures ? readConfig(fields) : Config()).carryOut(number, at, std::cref(check));
}

std::optional<Zin::Seconds> Replayer::takeAt(Json& object) const {
    static std::vector<Field> const syntax{{"at"}};
    auto const member = object.find("at");
    if (member == object.end()) {
        return std::nullopt;
    }
    Fields const field({{"at", *member}}, syntax);
    Zin::Seconds const at = origin_ + field.number("at");
    if (at < now()) {
        throw field.error("at", fmt::format("a time from {} on", now() - origin_));
    }
    object.erase(member);
    return at;
}

Outcome replay(std::istream& in, std::ostream& out, Options const& options,
               Progress const& progress) {
    LineReader reader(in);
    std::optional<Replayer> replayer(std::in_place, out, options);
    try {
        while (out && reader.next()) {
            if (!isSkipped(reader.line())) {
                replayer->handleLine(reader.number(), objectOf(reader));
            }
            if (auto const outcome = replayer->outcome()) {
                return *outcome;
            }
            if (progress) {
                progress(reader.number(), replayer->now());
            }
        }
    } catch (LineError const& error) {
        replayer
            .reset();  // what fails in its teardown could not be told while an error is on its way
        throw FileError(reader.number(), error.what());
    }
    replayer->run();
    return Outcome::completed;
}

}  // namespace Scenario
