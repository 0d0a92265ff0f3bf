// A scenario of what the agent does, from any moment on, in a file.
//
//   in     the agent: what has led to the present (OperationHistory.h), its operations, and remarks
//   out    the file; how it fares
//   time   whoever runs the loop calls step() in each turn, at nextTurn() at the latest
//
// A replay makes what stands when it begins, and goes on with what follows. What stands is written
// in pieces, while the agent works. Its limit, or a file that cannot be written, ends it for good;
// what is stopped is complete when it has ended.
//
// Begun between two batches. Borrows the agent, and goes before it.
#pragma once

#include <cstdint>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>

#include "feeds/scenario/Recorder.h"
#include "intfaddr/agent/Agent.h"

namespace IntfAddr {

// Names the file, and what is wrong.
class RecordingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Recording {
public:
    // Makes the file, or empties it; throws RecordingError where that fails. `limit`: of the file,
    // in bytes.
    Recording(Agent& agent, Scenario::Config const& config, std::string file, std::uint64_t limit,
              Netlink::Notice notice);
    // What has been recorded until now is written where it has not ended.
    ~Recording();
    Recording(Recording const&) = delete;
    Recording& operator=(Recording const&) = delete;

    void batchBegins() { recorder_.batchBegins(); }
    void comment(std::string_view text) { recorder_.comment(text); }

    Zin::Seconds nextTurn() const;
    // Writes some of what is to be written.
    void step(Zin::Seconds now);
    // Nothing that happens from now on is recorded; it ends when all before it is written.
    void stop();

    std::string const& file() const { return file_; }
    std::uint64_t bytes() const { return recorder_.size(); }
    bool isStopped() const { return isStopped_; }
    // Nothing more is written.
    bool hasEnded() const { return recorder_.isClosed() || (isStopped_ && !recorder_.isBehind()); }
    // Why it has ended although nobody has stopped it, or before all was written; else empty.
    std::string const& whyEnded() const { return recorder_.whyClosed(); }

private:
    void flush();

    std::string const file_;
    Netlink::Notice const notice_;
    Routing::OperationEffects& operations_;
    std::ofstream sink_;
    Scenario::Recorder recorder_;
    bool isStopped_ = false;
    Zin::Seconds nextFlush_ = 0.0;
};

}  // namespace IntfAddr
