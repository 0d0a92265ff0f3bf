#include "intfaddr/loop/EventLoop.h"

#include <fcntl.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>
#include <chrono>
#include <system_error>
#include <utility>

namespace IntfAddr {

namespace {

namespace asio = boost::asio;

// Longer than anybody sleeps.
constexpr Zin::Seconds longestWait = 3600.0;

// Outlives its watch while the loop holds on to an event of it.
//
// It is registered while it is waited for, and not longer: the loop is not to wake up for each
// message that comes while nobody asks.
struct Watched : std::enable_shared_from_this<Watched> {
    Watched(asio::io_context& context, int watched, Netlink::Loop::Event event,
            std::function<void()> callback)
        : number(watched), descriptor(context), kind(kindOf(event)), ready(std::move(callback)) {}
    ~Watched() { release(); }

    static asio::posix::stream_descriptor::wait_type kindOf(Netlink::Loop::Event event) {
        switch (event) {
            case Netlink::Loop::Event::readable:
                return asio::posix::stream_descriptor::wait_read;
            case Netlink::Loop::Event::writable:
                return asio::posix::stream_descriptor::wait_write;
            case Netlink::Loop::Event::exceptional:
                break;
        }
        return asio::posix::stream_descriptor::wait_error;
    }

    void wait() {
        if (descriptor.is_open()) {
            return;
        }
        // To wait for it makes it non-blocking, also for others who share the open file.
        int const flags = ::fcntl(number, F_GETFL);
        boost::system::error_code unwatchable;
        descriptor.assign(number, unwatchable);
        if (unwatchable) {
            throw std::system_error(unwatchable, "cannot watch a descriptor");
        }
        descriptor.async_wait(kind, [self = shared_from_this()](boost::system::error_code error) {
            if (!error) {
                self->release();
                // It may end the watch.
                auto const tell = self->ready;
                tell();
            }
        });
        ::fcntl(number, F_SETFL, flags);
    }

    // It is its owner's to close.
    void release() {
        if (descriptor.is_open()) {
            descriptor.release();
        }
    }

    int const number;
    asio::posix::stream_descriptor descriptor;
    asio::posix::stream_descriptor::wait_type const kind;
    std::function<void()> ready;
};

class DescriptorWatch final : public Netlink::Watch {
public:
    explicit DescriptorWatch(std::shared_ptr<Watched> watched) : watched_(std::move(watched)) {
        watched_->wait();
    }
    ~DescriptorWatch() override {
        watched_->ready = [] {};
        watched_->release();
    }

    void again() override { watched_->wait(); }

private:
    std::shared_ptr<Watched> const watched_;
};

}  // namespace

struct EventLoop::State {
    void nextSignal(std::function<void(int)> handle) {
        signals.async_wait([this, handle](boost::system::error_code error, int signal) {
            if (!error) {
                handle(signal);
                nextSignal(handle);
            }
        });
    }

    std::chrono::steady_clock::time_point const began = std::chrono::steady_clock::now();
    asio::io_context context{1};
    asio::executor_work_guard<asio::io_context::executor_type> const keepsRunning{
        context.get_executor()};
    asio::signal_set signals{context};
};

EventLoop::EventLoop() : state_(std::make_unique<State>()) {}

EventLoop::~EventLoop() = default;

Zin::Seconds EventLoop::now() const {
    return std::chrono::duration<Zin::Seconds>(std::chrono::steady_clock::now() - state_->began)
        .count();
}

std::unique_ptr<Netlink::Watch> EventLoop::watch(int descriptor, Event event,
                                                 std::function<void()> ready) {
    return std::make_unique<DescriptorWatch>(
        std::make_shared<Watched>(state_->context, descriptor, event, std::move(ready)));
}

void EventLoop::onSignals(std::vector<int> const& signals, std::function<void(int)> handle) {
    for (int const signal : signals) {
        state_->signals.add(signal);
    }
    state_->nextSignal(std::move(handle));
}

void EventLoop::wait(Zin::Seconds time) {
    Zin::Seconds const left = std::clamp(time - now(), 0.0, longestWait);
    // Rounded up, lest the time come a little too early and again and again.
    state_->context.run_one_for(
        std::chrono::ceil<std::chrono::microseconds>(std::chrono::duration<Zin::Seconds>(left)));
    Zin::Seconds const end = now() + longestTurn;
    while (state_->context.poll_one() > 0 && now() < end) {
    }
}

boost::asio::io_context& EventLoop::context() { return state_->context; }

}  // namespace IntfAddr
