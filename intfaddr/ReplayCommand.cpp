#include "intfaddr/ReplayCommand.h"

#include <cerrno>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>

#include "feeds/scenario/Replayer.h"
#include "intfaddr/ProgressLine.h"
#include "intfaddr/ask/Printable.h"

namespace IntfAddr {

namespace {

enum ExitStatus { ok = 0, expectationFailed = 1, badFile = 2, invariantFailed = 3 };

ExitStatus statusOf(Scenario::Outcome outcome) {
    switch (outcome) {
        case Scenario::Outcome::expectationFailed:
            return expectationFailed;
        case Scenario::Outcome::invariantFailed:
            return invariantFailed;
        case Scenario::Outcome::completed:
            break;
    }
    return ok;
}

Scenario::Outcome replayFrom(std::istream& in, Scenario::Options const& options,
                             Streams const& streams) {
    if (!streams.errIsTerminal) {
        return Scenario::replay(in, streams.out, options);
    }
    ProgressLine progress(streams.err);
    return Scenario::replay(
        in, streams.out, options,
        [&progress](std::uint64_t line, Zin::Seconds time) { progress.show(line, time); });
}

}  // namespace

int replay(ReplayOptions const& options, Streams const& streams) {
    std::ifstream file;
    if (options.file != "-") {
        errno = 0;
        file.open(options.file, std::ios::binary);
        if (!file) {
            streams.err << printable(options.file)
                        << ": cannot be opened: " << std::generic_category().message(errno) << '\n';
            return badFile;
        }
    }
    try {
        return statusOf(replayFrom(options.file == "-" ? streams.in : file, options.run, streams));
    } catch (Scenario::FileError const& error) {
        streams.out.flush();
        streams.err << printable(options.file) << ':' << error.line() << ": "
                    << printable(error.what()) << '\n';
        return badFile;
    }
}

}  // namespace IntfAddr
