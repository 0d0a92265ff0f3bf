#include "feeds/scenario/Replayer.h"

#include <fmt/format.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "feeds/scenario/LineReader.h"
#include "feeds/scenario/Operations.h"

namespace Scenario {

namespace {

bool isSkipped(std::string const& line) {
    return line.starts_with('#') || line.find_first_not_of(" \t\r") == std::string::npos;
}

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

class Replayer {
public:
    Replayer(std::ostream& out, Options const& options) : out_(out), options_(options) {}

    // Starts the run, unless it has begun.
    Run& run(Config const& config = {}) {
        if (!run_) {
            run_ = std::make_unique<Run>(out_, config, options_);
        }
        return *run_;
    }
    std::optional<Outcome> outcome() const { return run_ ? run_->outcome() : std::nullopt; }
    Zin::Seconds now() const { return run_ ? run_->now() : 0.0; }

    void handleLine(LineReader const& reader) {
        Json object = objectOf(reader);
        Operation const& operation = operationOf(takeOp(object));
        auto const at = takeAt(object);
        Fields const fields(std::move(object), operation.fields);
        bool const configures = operation.name == configOp && !run_;
        run(configures ? readConfig(fields) : Config())
            .carryOut(reader.number(), at, [this, configures, &operation, &fields] {
                return configures ? Routing::Effect([] {}) : operation.check(*run_, fields);
            });
    }

private:
    static std::string takeOp(Json& object) {
        auto const op = object.find("op");
        if (op == object.end()) {
            throw LineError("field 'op' is missing");
        }
        if (!op->is_string()) {
            throw LineError(
                fmt::format("field 'op': expected a text, found {}", shortened(op->dump())));
        }
        std::string name = op->get<std::string>();
        object.erase(op);
        return name;
    }

    std::optional<Zin::Seconds> takeAt(Json& object) const {
        static std::vector<Field> const syntax{{"at"}};
        auto const member = object.find("at");
        if (member == object.end()) {
            return std::nullopt;
        }
        Fields const field({{"at", *member}}, syntax);
        Zin::Seconds const at = field.number("at");
        if (at < now()) {
            throw field.error("at", fmt::format("a time from {} on", now()));
        }
        object.erase(member);
        return at;
    }

    std::ostream& out_;
    Options const& options_;
    std::unique_ptr<Run> run_;
};

}  // namespace

Outcome replay(std::istream& in, std::ostream& out, Options const& options,
               Progress const& progress) {
    LineReader reader(in);
    std::optional<Replayer> replayer(std::in_place, out, options);
    try {
        while (out && reader.next()) {
            if (!isSkipped(reader.line())) {
                replayer->handleLine(reader);
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
