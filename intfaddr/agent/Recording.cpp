#include "intfaddr/agent/Recording.h"

#include <cerrno>
#include <limits>
#include <system_error>
#include <utility>

#include "Zin/Format.h"

namespace IntfAddr {

namespace {

constexpr Zin::Seconds flushPeriod = 1.0;

std::ofstream opened(std::string const& file) {
    errno = 0;
    std::ofstream sink(file, std::ios::binary | std::ios::trunc);
    if (!sink) {
        throw RecordingError(
            fmt::format("{}: cannot be opened: {}", file, std::generic_category().message(errno)));
    }
    return sink;
}

}  // namespace

Recording::Recording(Agent& agent, Scenario::Config const& config, std::string file,
                     std::uint64_t limit, Netlink::Notice notice)
    : file_(std::move(file)),
      notice_(std::move(notice)),
      operations_(agent.router().inputs().effects()),
      sink_(opened(file_)),
      recorder_(sink_, config, agent.clock(), limit, agent.supervisor().recording()) {
    operations_.observerAdd(recorder_);
}

Recording::~Recording() {
    stop();
    while (recorder_.isBehind()) {
        recorder_.catchUp();
    }
    flush();
}

Zin::Seconds Recording::nextTurn() const {
    return hasEnded()             ? Velk::never
           : recorder_.isBehind() ? -std::numeric_limits<Zin::Seconds>::infinity()
                                  : nextFlush_;
}

void Recording::step(Zin::Seconds now) {
    if (!sink_.is_open()) {
        return;
    }
    recorder_.catchUp();
    if (now >= nextFlush_ || hasEnded()) {
        nextFlush_ = now + flushPeriod;
        flush();
    }
}

void Recording::stop() {
    if (!std::exchange(isStopped_, true)) {
        recorder_.end();
        operations_.observerDel(recorder_);
    }
}

void Recording::flush() {
    if (!recorder_.flush()) {
        notice_(fmt::format("{}: {}", file_, recorder_.whyClosed()));
    }
    if (hasEnded()) {
        sink_.close();
    }
}

}  // namespace IntfAddr
