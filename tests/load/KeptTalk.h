// Asks a server over one connection that it keeps, and waits for each answer.
//
//   in     a method and a target
//   out    the status and the whole body; std::exception where the connection broke
#pragma once

#include <memory>
#include <string>

namespace Load {

struct Answer {
    unsigned status = 0;
    std::string body;
};

class KeptTalk {
public:
    explicit KeptTalk(std::string const& path);
    ~KeptTalk();

    Answer ask(std::string const& method, std::string const& target);

private:
    struct State;

    std::unique_ptr<State> const state_;
};

}  // namespace Load
