// Whether a host, as a request names it, is this machine's loopback.
//
// A browser asks any host whose name a stranger may have given an address of loopback, and says
// that name: whoever answers it would answer the stranger's page.
#pragma once

#include <string_view>

namespace IntfAddr {

// "localhost" in letters of any case, with a dot at its end or without; an address of 127.0.0.0/8;
// [::1]; each with ":PORT" or without (RFC 9112, 3.2).
bool isLoopbackHost(std::string_view host);

}  // namespace IntfAddr
