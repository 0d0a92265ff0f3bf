#include "Tremlog/Ring.h"

#include "Tremlog/Module.h"
#include "Tremlog/Record.h"
#include "Zin/Module.h"
#include "Zin/Turn.h"

#include <fmt/format.h>

#include <unistd.h>

#include <memory>
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

constinit Image Ring::memory_{};
constinit Ring ring;

bool Ring::enter(Descriptor& descriptor) noexcept {
    Image& image = *image_.load(std::memory_order_relaxed);
    std::uint64_t const used = image.header.formats;
    if (used == Image::formatCount) {
        return false;
    }
    Format& format = image.formats[used];
    format.text.put(descriptor.format);
    format.argumentCount = descriptor.kinds.size();
    for (std::size_t i = 0; i < descriptor.kinds.size(); ++i) {
        format.arguments[i].kind.put(descriptor.kinds[i]->name);
        format.arguments[i].size = descriptor.kinds[i]->size;
    }
    image.header.formats = used + 1;
    descriptor.number = static_cast<std::uint16_t>(used + 1);
    return true;
}

void Ring::moveTo(Image& image, std::string_view identity) {
    Image& before = *image_.load(std::memory_order_relaxed);
    image = before;
    image.header.process = static_cast<std::uint32_t>(::getpid());
    image.header.identity.put(identity);
    image.header.scale = tickScale();
    image.header.version = Image::ownVersion;
    image.header.slotCount = Image::slotCount;
    image.header.formatCount = Image::formatCount;
    image.header.magic.put(Image::ownMagic);
    image_.store(&image, std::memory_order_relaxed);
}

void Ring::measure() noexcept {
    std::atomic_ref(header().scale.secondsPerTick)
        .store(tickScale().secondsPerTick, std::memory_order_relaxed);
}

std::vector<Entry> Ring::entries() const {
    // Copied first and formatted afterwards: a formatter may record, and takes its time.
    auto const copy = std::make_unique<Image>();
    bool inUse = false;  // by this thread itself
    while (!inUse && !take()) {
        inUse = holder_.load(std::memory_order_relaxed) == &thisThread_;
        std::this_thread::yield();
    }
    Image const& image = *image_.load(std::memory_order_relaxed);
    copy->header.cleared = cleared();
    copy->header.written = written();
    copy->header.scale = tickScale();
    copy->formats = image.formats;
    copy->slots = image.slots;
    if (!inUse) {
        give();
    }
    return entriesOf(*copy, "<the ring is in use>");
}

void Ring::clear() noexcept {
    std::atomic_ref(header().cleared).store(written(), std::memory_order_release);
    std::atomic_ref(header().lost).store(0, std::memory_order_relaxed);
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
