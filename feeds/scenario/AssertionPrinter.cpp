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
    thePrinter->failed_ = true;
    thePrinter->output_.print("assert",
                              {{"line", thePrinter->line_}, {"message", failure.message}});
    thePrinter->output_.close();
    throw Pell::AssertionError(failure);
}

}  // namespace Scenario
