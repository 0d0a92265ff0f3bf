#include "feeds/scenario/Recorder.h"

#include <cerrno>
#include <ios>
#include <system_error>
#include <utility>

#include "Zin/Format.h"
#include "feeds/scenario/FileError.h"
#include "feeds/scenario/LineReader.h"
#include "feeds/scenario/OperationWriter.h"

namespace Scenario {

namespace {

constexpr std::size_t handedOverAtOnce = std::size_t{1} << 16;
// What the last comment takes at most.
constexpr std::size_t lastLine = 100;
constexpr int linesOfPiece = 100;

}  // namespace

Recorder::Recorder(std::ostream& sink, Config const& config, Zin::Ptr<Zin::Clock const> clock,
                   std::size_t limit, Routing::Recording before)
    : sink_(sink), clock_(std::move(clock)), limit_(limit), before_(std::move(before)) {
    append(textOf(configLine(config)));
}

Recorder::~Recorder() { flush(); }

void Recorder::comment(std::string_view text) { put(commentLine(text)); }

void Recorder::end() { put(textOf({{"op", "advance"}, {"seconds", 0}, {"at", clock_->now()}})); }

bool Recorder::flush() {
    write();
    return !hasFailed_ || std::exchange(isErrorTold_, true);
}

void Recorder::catchUp() {
    for (int i = 0; i < linesOfPiece && isBehind(); ++i) {
        if (next_ < before_.size()) {
            append(textOf(lineOf(before_[next_++])));
        } else {
            std::string const line = std::move(queue_.front());
            queue_.pop_front();
            append(line);
        }
    }
    if (!isBehind()) {
        before_ = {};
        next_ = 0;
    }
}

void Recorder::handleOperation(Routing::Operation const& operation) {
    if (isClosed()) {
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

void Recorder::put(std::string line) {
    if (isBehind()) {
        queue_.push_back(std::move(line));
    } else {
        append(line);
    }
}

void Recorder::append(std::string const& line) {
    if (isClosed()) {
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

void Recorder::close(std::string why) {
    std::string const last = commentLine(fmt::format("the recording ends here: {}", why));
    size_ += last.size();
    lines_ += last;
    closeBecause(std::move(why));
    write();
}

void Recorder::closeBecause(std::string why) {
    whyClosed_ = std::move(why);
    before_ = {};
    next_ = 0;
    queue_.clear();
}

void Recorder::write() {
    if (hasFailed_ || lines_.empty()) {
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
        int const error = errno != 0 ? errno : EIO;
        hasFailed_ = true;
        closeBecause("it cannot be written any more: " + std::generic_category().message(error));
    }
    lines_.clear();
}

}  // namespace Scenario
