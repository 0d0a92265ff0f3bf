#include "feeds/scenario/Recorder.h"

#include <fmt/format.h>

#include <cerrno>
#include <ios>
#include <utility>

#include "feeds/scenario/FileError.h"
#include "feeds/scenario/LineReader.h"
#include "feeds/scenario/OperationWriter.h"

namespace Scenario {

namespace {

constexpr std::size_t handedOverAtOnce = std::size_t{1} << 16;
// What the last comment takes at most.
constexpr std::size_t lastLine = 100;

}  // namespace

Recorder::Recorder(std::ostream& sink, Config const& config, Zin::Ptr<Zin::Clock const> clock,
                   std::size_t limit)
    : sink_(sink), clock_(std::move(clock)), limit_(limit) {
    put(textOf(configLine(config)));
}

Recorder::~Recorder() { flush(); }

void Recorder::comment(std::string_view text) { put(commentLine(text)); }

void Recorder::end() { put(textOf({{"op", "advance"}, {"seconds", 0}, {"at", clock_->now()}})); }

bool Recorder::flush() {
    write();
    return error_ == 0 || std::exchange(isErrorTold_, true);
}

void Recorder::handleOperation(Routing::Operation const& operation) {
    if (isClosed_) {
        return;
    }
    OrderedJson line = lineOf(operation);
    Zin::Seconds const now = clock_->now();
    if (std::exchange(batchBegins_, false) || now != lastAt_) {
        line["at"] = now;
        lastAt_ = now;
    }
    put(textOf(line));
}

void Recorder::put(std::string const& line) {
    if (isClosed_) {
        return;
    }
    if (line.size() > LineReader::maxLength) {
        close("the next line is longer than a replay reads");
    } else if (size_ + line.size() + lastLine > limit_) {
        close(fmt::format("its limit of {} bytes is reached", limit_));
    } else {
        size_ += line.size();
        lines_ += line;
        if (lines_.size() >= handedOverAtOnce) {
            write();
        }
    }
}

void Recorder::close(std::string_view why) {
    lines_ += commentLine(fmt::format("the recording ends here: {}", why));
    isClosed_ = true;
    write();
}

void Recorder::write() {
    if (error_ != 0 || lines_.empty()) {
        return;
    }
    errno = 0;
    bool isWritten = false;
    try {
        isWritten =
            bool(sink_.write(lines_.data(), static_cast<std::streamsize>(lines_.size())).flush());
    } catch (std::ios::failure const&) {
    }
    if (!isWritten) {
        error_ = errno != 0 ? errno : EIO;
        isClosed_ = true;
    }
    lines_.clear();
}

}  // namespace Scenario
