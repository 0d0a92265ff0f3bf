#include "Nimb/InternedNames.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <new>

#include "Zin/Hash.h"
#include "Zin/HashKey.h"
#include "Zin/HashMap2018.h"

namespace Nimb {

// What making a name and dropping its last owner change, under the mutex while the switch is on.
struct InternedNames::Table {
    // Of a record of the table, or of one that is looked for.
    struct Key {
        Record const* record;

        std::uint32_t hash(std::uint32_t) const noexcept { return record->hash(); }
        friend bool operator==(Key const& a, Key const& b) noexcept {
            return a.record->name() == b.record->name();
        }
    };

    std::unique_lock<std::mutex> lock() {
        return Zin::threadSafePointers() ? std::unique_lock(mutex) : std::unique_lock<std::mutex>();
    }
    Number insert(Record const& sought);
    void erase(Number number) noexcept;

    std::mutex mutex;
    Zin::HashKey const key = Zin::drawnHashKey();
    Zin::HashMap2018<Key, Number> numbers{0};
    Number free = 0;   // used before, and free again
    Number fresh = 1;  // not used yet, as are all after it
};

void InternedNames::Record::set(std::string_view name, std::uint32_t hash) noexcept {
    hash_ = hash;
    if (name.size() < bytes_.size()) {
        std::copy(name.begin(), name.end(), bytes_.begin());
        bytes_.back() = static_cast<char>(name.size());
    } else {
        Long const elsewhere{name.data(), name.size()};
        std::memcpy(bytes_.data(), &elsewhere, sizeof elsewhere);
        bytes_.back() = static_cast<char>(longTag);
    }
}

InternedNames::Table& InternedNames::table() {
    // Never destroyed: static objects own names, too.
    alignas(Table) static std::byte place[sizeof(Table)];
    static Table& table = *new (place) Table;
    return table;
}

InternedNames::Number InternedNames::own(std::string_view name) {
    if (name.empty()) {
        return 0;
    }
    Record const sought(name, Zin::hashBytes(table().key, 0, name));
    auto const lock = table().lock();
    if (Number const* const found = table().numbers.find({&sought})) {
        addOwner(*found);
        return *found;
    }
    return table().insert(sought);
}

void InternedNames::dropLastOwner(Number number) noexcept {
    auto const lock = table().lock();
    // Another thread may have found the name until now, and own it.
    if (record(number).owners.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        table().erase(number);
    }
}

InternedNames::Number InternedNames::Table::insert(Record const& sought) {
    Number const number = free != 0 ? free : fresh;
    Record*& chunk = chunks_.at(number / chunkSize);
    if (chunk == nullptr) {
        chunk = new Record[chunkSize];
    }
    Record& record = chunk[number % chunkSize];
    std::unique_ptr<char[]> block;
    std::string_view name = sought.name();
    if (sought.isLong()) {
        block = std::make_unique<char[]>(name.size());
        std::copy(name.begin(), name.end(), block.get());
        name = {block.get(), name.size()};
    }
    record.set(name, sought.hash());
    numbers.emplace({&record}, number);

    // Nothing throws from here on.
    static_cast<void>(block.release());
    if (number == fresh) {
        ++fresh;
    } else {
        free = record.owners.load(std::memory_order_relaxed);
    }
    record.owners.store(1, std::memory_order_relaxed);
    return number;
}

void InternedNames::Table::erase(Number number) noexcept {
    Record& record = InternedNames::record(number);
    numbers.erase({&record});
    if (record.isLong()) {
        delete[] record.name().data();
    }
    record.owners.store(free, std::memory_order_relaxed);
    free = number;
    if (numbers.empty()) {
        // What an empty map may keep, LeakSanitizer does not find at the end of the process.
        numbers.clear();
    }
}

}  // namespace Nimb
