// The virtual addresses that are to be there again when the agent is started again, in a file.
//
//   in     what is to be kept
//   out    the file, a line for each, which is the target of the request that adds it
//          (VirtualChanges.h); what it holds; a notice of what goes wrong
//
// The file is whole at any time, and on the disk when put() returns: the agent waits for that, as
// those who add addresses by hand do, and are few. A file that is damaged is set aside under
// another name, and what is good of it counts.
#pragma once

#include <functional>
#include <string>

#include "intfaddr/config/VirtualAddress.h"

namespace IntfAddr {

class KeptAddresses {
public:
    using Notice = std::function<void(std::string const& line)>;

    KeptAddresses(std::string path, Notice notice);

    // Mends the file where it is damaged.
    VirtualAddressSet get() const;
    // Whether they are; a notice says why not.
    bool put(VirtualAddressSet const& addresses) const;

private:
    void setAside(std::string const& why) const;

    std::string const path_;
    Notice const notice_;
};

// Where an agent keeps what outlives it: /var/lib/intfaddr, or for others than root intfaddr below
// their $XDG_STATE_HOME, if that is an absolute path, or ~/.local/state.
std::string stateDirectory();

}  // namespace IntfAddr
