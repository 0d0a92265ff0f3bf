// An agent that hides its symbols, and loads a shared object that does so too: what the library has
// once in a process is the same for both.
//
//   agent PLUGIN
#include <dlfcn.h>

#include "IpLib/Version.h"
#include "Nimb/IntfId.h"
#include "Process.h"
#include "Zin/Format.h"
#include "Zin/HashKey.h"

static_assert(IPLIB_VERSION >= 10000);

int main(int, char** argv) {
    Zin::hashKeyIs(Zin::HashKey(7));
    Nimb::IntfId const name("Ethernet1");
    void* const plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr) {
        fmt::print(stderr, "{}\n", dlerror());
        return 1;
    }
    auto const processOfPlugin = reinterpret_cast<Process (*)()>(dlsym(plugin, "processOfPlugin"));

    Zin::threadSafePointersIs(true);
    Zin::assertionHandlerIs([](Zin::AssertionFailure const&) {});
    Zin::FaultDomain const domain("agent");
    Zin::Turn const turn;
    Process const ours = process();
    Process const its = processOfPlugin();
    bool const whole = ours.modules >= 13 && ours == its;
    fmt::print("{} modules, {} types\n", its.modules, its.types);
    if (!whole) {
        fmt::print(stderr, "the process has two of something: {} and {}\n", ours.text(),
                   its.text());
    }
    Zin::threadSafePointersIs(false);
    return whole ? 0 : 1;
}
