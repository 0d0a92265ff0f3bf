// A machine that another machine owns: at most one, made anew when its inputs change.
//
// The owner's x, xIs and xDel forward to it. A child stands in its place before it initialises
// itself, so that whoever asks for it meanwhile finds it, and may remove it. One that is replaced
// or removed is retired at once (see Entity), its successor having started; so is the child of an
// owner that goes away.
#pragma once

#include <utility>

#include "Zin/Ptr.h"
#include "Zin/Turn.h"

namespace Zin {

template <class T>
class Child {
public:
    Child() = default;
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;
    ~Child() {
        if (child_) {
            Turn::runInDestructor([this] { child_->retire(); });
        }
    }

    // Null where there is none.
    Ptr<T> const& operator()() const noexcept { return child_; }

    // Keeps a child that was built from these very inputs (T::builtFrom); else makes one of them
    // and puts it in the place of the old one.
    template <class... Inputs>
    Ptr<T> const& is(Inputs const&... inputs) {
        if (!child_ || !child_->builtFrom(inputs...)) {
            Ptr<T> made = Ptr<T>::adopt(new T(inputs...));
            Turn turn;
            Ptr<T> const child = std::move(made);
            Ptr<T> const old = std::exchange(child_, child);
            turn.run([&] { child->initialize(); });
            if (old) {
                old->retire();
            }
        }
        return child_;
    }

    // Returns the child that was removed, retired; null if there was none.
    Ptr<T> del() {
        Ptr<T> child = std::move(child_);
        if (child) {
            child->retire();
        }
        return child;
    }

private:
    Ptr<T> child_;
};

}  // namespace Zin
