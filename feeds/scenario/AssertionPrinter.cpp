#include "feeds/scenario/AssertionPrinter.h"

namespace Scenario {

namespace {

// The handler of assertions is a plain function.
thread_local AssertionPrinter* thePrinter = nullptr;

}  // namespace

AssertionPrinter::AssertionPrinter(Output& output, std::uint64_t const& line)
    : output_(output), line_(line), handlerBefore_(Pell::assertionHandlerIs(handle)) {
    thePrinter = this;
}

AssertionPrinter::~AssertionPrinter() {
    Pell::assertionHandlerIs(handlerBefore_);
    thePrinter = nullptr;
}

void AssertionPrinter::handle(Pell::AssertionFailure const& failure) {
    thePrinter->print(failure);
    throw Pell::AssertionError(failure);
}

void AssertionPrinter::print(Pell::AssertionFailure const& failure) {
    output_.print("assert", {{"line", line_}, {"message", failure.message}});
    if (supervisor_) {
        supervisor_->handleFailure(failure);
    } else {
        failed_ = true;
        output_.close();
    }
}

}  // namespace Scenario
