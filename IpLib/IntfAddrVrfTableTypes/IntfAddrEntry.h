// A row of the address table: one address on one interface, or one virtual address. It never
// changes; an address that moves is another row. Co-owned by the table's rows, its indexes and the
// subnet sets.
#pragma once

#include <string>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntryContent.h"
#include "Zin/Ptr.h"

namespace IpLib {

class IntfAddrEntry final : public Zin::Entity {
public:
    explicit IntfAddrEntry(IntfAddrEntryContent content) : content_(std::move(content)) {}

    IntfAddrEntryContent const& content() const { return content_; }
    IntfAddrEntryKey const& key() const { return content_.key; }
    Nimb::IntfId const& intfId() const { return content_.intfId; }
    Nimb::IpGenPrefix const& subnet() const { return content_.subnet; }

    std::string toStrep() const { return content_.toStrep(); }

private:
    IntfAddrEntryContent const content_;
};

// Under what the collections of rows have a row: they read it there.
struct ContentOfRow {
    // Borrowed from the row, which must not be null.
    IntfAddrEntryContent const& operator()(Zin::Ptr<IntfAddrEntry> const& row) const {
        return row->content();
    }
};
// Likewise, by the key.
struct KeyOfRow {
    // Borrowed from the row, which must not be null.
    IntfAddrEntryKey const& operator()(Zin::Ptr<IntfAddrEntry const> const& row) const {
        return row->key();
    }
};
// Likewise, by the interface.
struct IntfIdOfRow {
    // Borrowed from the row, which must not be null.
    Nimb::IntfId const& operator()(Zin::Ptr<IntfAddrEntry const> const& row) const {
        return row->intfId();
    }
};

Zin::Ptr<IntfAddrEntry> intfAddrEntryFactory(IntfAddrEntryContent const& content);

}  // namespace IpLib
