#include "Nimb/Ip4Addr.h"

namespace Nimb {

Ip4Addr::Ip4Addr(std::string_view text) {
    AddrReader reader(text);
    bytes_ = reader.ip4();
    reader.end();
}

}  // namespace Nimb
