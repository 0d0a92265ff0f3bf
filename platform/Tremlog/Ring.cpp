#include "Tremlog/Ring.h"

#include "Tremlog/Module.h"
#include "Tremlog/Record.h"
#include "Zin/Module.h"
#include "Zin/Turn.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <thread>
#include <utility>

namespace Tremlog {
namespace {

void recordSuppressed(std::string_view text) noexcept {
    record<"suppressed failure: {}">(CutText<Ring::argumentSize - 1>(text));
}

[[maybe_unused]] auto const nobodyBefore = Zin::suppressedFailureHandlerIs(recordSuppressed);

}  // namespace

Zin::ModuleRegistration const module{{.name = "Tremlog", .dependsOn = {&Zin::module}}};

constinit Ring ring;

namespace {

std::string messageOf(Descriptor const& descriptor, std::byte const* arguments) {
    try {
        return descriptor.message(descriptor.format, arguments);
    } catch (...) {
        return fmt::format("<no text for \"{}\": {}>", descriptor.format,
                           Zin::textOf(std::current_exception()));
    }
}

}  // namespace

std::vector<Entry> Ring::entries() const {
    // Copied first and formatted afterwards: a formatter may record, and takes its time.
    std::vector<Slot> copy(slotCount);
    bool inUse = false;  // by this thread itself
    while (!inUse && !take()) {
        inUse = holder_.load(std::memory_order_relaxed) == &thisThread_;
        std::this_thread::yield();
    }
    std::uint64_t const first = cleared();
    std::uint64_t const end = written();
    std::copy(slots_.begin(), slots_.end(), copy.begin());
    if (!inUse) {
        give();
    }
    // A record under way takes the place of the oldest.
    std::uint64_t const held = std::min<std::uint64_t>(end - first, slotCount - inUse);
    SecondsFromTicks const seconds;
    std::vector<Entry> result;
    for (std::uint64_t i = end - held; i != end; ++i) {
        Slot const& slot = copy[i % slotCount];
        result.push_back(
            {i - first, seconds(slot.ticks), messageOf(*slot.descriptor, slot.arguments.data())});
    }
    if (inUse) {
        result.push_back({end - first, seconds(ticks()), "<the ring is in use>"});
    }
    return result;
}

void Ring::clear() noexcept {
    cleared_.store(written(), std::memory_order_release);
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
