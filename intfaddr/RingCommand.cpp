#include "intfaddr/RingCommand.h"

#include <fmt/chrono.h>
#include <cmath>
#include <ostream>

#include "Zin/Format.h"
#include "intfaddr/agent/Instance.h"
#include "intfaddr/agent/RingFile.h"
#include "intfaddr/answer/Document.h"
#include "intfaddr/ask/Printable.h"

namespace IntfAddr {

namespace {

// What a damaged file says may be no time at all.
std::string timeText(double sinceEpoch) {
    constexpr double year9999 = 253402300799.0;
    if (!(sinceEpoch >= 0.0 && sinceEpoch < year9999)) {
        return "-";
    }
    double const whole = std::floor(sinceEpoch);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", fmt::gmtime(static_cast<std::time_t>(whole)),
                       static_cast<int>((sinceEpoch - whole) * 1e6));
}

void writeText(RingContent const& ring, double loadedAt, std::ostream& out) {
    out << printable(fmt::format("agent {}, process {}, started {}, {} records lost", ring.identity,
                                 ring.process, timeText(loadedAt), ring.lost))
        << '\n';
    for (auto const& [sequence, seconds, message] : ring.entries) {
        out << printable(fmt::format("[{}] {} {}", sequence, timeText(loadedAt + seconds), message))
            << '\n';
    }
}

void writeJson(std::string const& path, RingContent const& ring, double loadedAt,
               std::ostream& out) {
    Document document;
    document.member("file", [&] { return Json(path); })
        .member("agent", [&] { return Json(ring.identity); })
        .member("process", [&] { return Json(ring.process); })
        .member("started", [&] { return Json(timeText(loadedAt)); })
        .member("lost", [&] { return Json(ring.lost); })
        .list("entries", [&](Document::Items& items) {
            for (auto const& [sequence, seconds, message] : ring.entries) {
                items.next() += toLine({{"sequence", sequence},
                                        {"time", timeText(loadedAt + seconds)},
                                        {"seconds", seconds},
                                        {"message", message}});
            }
            return false;
        });
    out << drained(document);
}

}  // namespace

int ring(RingOptions const& options, Streams const& streams) {
    auto const path = options.file.value_or(fileOfAgent(options.runDir, "ring"));
    RingContent ring;
    try {
        ring = readRing(path);
    } catch (RingFileError const& error) {
        streams.err << "intfaddr: " << printable(error.what()) << '\n';
        return 3;
    }
    double const loadedAt = static_cast<double>(ring.loadedAt) / 1e9;
    if (options.json) {
        writeJson(path, ring, loadedAt, streams.out);
    } else {
        writeText(ring, loadedAt, streams.out);
    }
    return ring.entries.empty() ? 1 : 0;
}

}  // namespace IntfAddr
