// The subcommands that ask: the agent, where one runs and may be asked; else the kernel, once.
//
//   show        the addresses, their places and states
//   lookup      who owns an address
//   subnets     the connected subnets
//   lowest6     the lowest IPv6 address of an interface
//   linklocal   its link-local address
//   explain     why an address is there, or is not
//
// Exit status: 0 found; 1 there is none; 2 a bad question; 3 not known, since something that could
// hold the answer could not be read, which is named on the standard error and in the JSON.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "feeds/netlink/Follower.h"
#include "feeds/netlink/Picture.h"
#include "intfaddr/Streams.h"
#include "intfaddr/answer/Document.h"
#include "intfaddr/ask/Words.h"
#include "intfaddr/http/Target.h"

namespace IntfAddr {

enum ExitStatus { found = 0, none = 1, badQuestion = 2, notKnown = 3 };

// One command that asks.
struct AskCommand {
    std::string name;
    std::string description;
    Grammar grammar;
    // The list in its answer that says whether something was found.
    std::string found;
    std::string (*toText)(Json const& answer);
    // Whether one of that list is what is looked for.
    bool (*isFound)(Json const& one) = [](Json const&) { return true; };
};

std::vector<AskCommand> const& askCommands();

struct AskOptions {
    std::vector<std::string> words{};
    bool json = false;
    bool brief = false;
    // Of `explain`: a scenario (RehearsalCommand.h).
    bool scenario = false;
    // Ask the kernel, whether an agent runs or not.
    bool kernel = false;
    // Where the agent is; the default where nothing is given.
    std::optional<std::string> runDir{};
    // For a look at the kernel, which this implies where something is left out.
    Netlink::Policy policy{};
};

struct Question {
    std::string name;
    Parameters parameters{};
};

struct Answer {
    unsigned status = 0;
    std::string text;
    bool isOfAgent = false;
};

// Of the agent, where one runs and may be asked; else of the kernel, which `warn` is told.
Answer answerTo(Question const& question, AskOptions const& options, Netlink::Notice const& warn);

// Returns the exit status. Throws BadQuestion, and std::exception for what fails.
int ask(AskCommand const& command, AskOptions const& options, Streams const& streams);

// Throws what the agent has refused the question with, where it has.
void throwRefusal(unsigned status, Json const& document);

// The socket of the agent whose run directory it is.
std::string socketPath(std::string const& runDirectory);
// Where no directory is given, that of the user's own agent, or where he has none the system's.
std::string socketToAsk(std::optional<std::string> const& runDir);

}  // namespace IntfAddr
