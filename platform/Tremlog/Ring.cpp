#include "Tremlog/Ring.h"

#include "Zin/Registry.h"

#include <fmt/format.h>

#include <algorithm>
#include <thread>
#include <utility>

namespace Tremlog {
namespace {

Zin::ModuleRegistration const module{{.name = "Tremlog", .dependsOn = {"Zin"}}};

}  // namespace

constinit Ring ring;

// Readers wait for a record that is under way; recorders never wait for a reader.
class Ring::Hold {
public:
    explicit Hold(Ring const& held) noexcept : busy_(held.busy_) {
        while (busy_.test_and_set(std::memory_order_acquire)) {
            std::this_thread::yield();
        }
    }
    ~Hold() { busy_.clear(std::memory_order_release); }
    Hold(Hold const&) = delete;
    Hold& operator=(Hold const&) = delete;

private:
    std::atomic_flag& busy_;
};

std::vector<Entry> Ring::entries() const {
    // Copied first and formatted afterwards: a formatter may record, and takes its time.
    std::vector<Slot> copy(slotCount);
    std::uint64_t end;
    {
        Hold const hold(*this);
        end = count();
        std::copy(slots_.begin(), slots_.end(), copy.begin());
    }
    SecondsFromTicks const seconds;
    std::vector<Entry> result;
    for (std::uint64_t i = end - std::min<std::uint64_t>(end, slotCount); i != end; ++i) {
        Slot const& slot = copy[i % slotCount];
        result.push_back(
            {i, seconds(slot.ticks),
             slot.descriptor->message(slot.descriptor->format, slot.arguments.data())});
    }
    return result;
}

void Ring::clear() noexcept {
    Hold const hold(*this);
    count_.store(0, std::memory_order_relaxed);
    lost_.store(0, std::memory_order_relaxed);
}

std::vector<std::string> messages() {
    std::vector<std::string> result;
    for (Entry& entry : entries()) {
        result.push_back(std::move(entry.message));
    }
    return result;
}

std::string decode() {
    std::string lines;
    for (Entry const& entry : entries()) {
        lines += fmt::format("[{}] {:.6f} {}\n", entry.sequence, entry.seconds, entry.message);
    }
    return lines;
}

}  // namespace Tremlog
