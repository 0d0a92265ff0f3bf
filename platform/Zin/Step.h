// Something to be done later, once: a callable without arguments, and what it holds. Null by
// default, and after it has been moved from. Owned by whoever has it.
#pragma once

#include <type_traits>
#include <utility>

namespace Zin {

class Step {
public:
    Step() = default;
    // Throws std::bad_alloc, or what copying the callable throws.
    template <class Callable>
    requires(!std::is_same_v<std::remove_cvref_t<Callable>, Step>) Step(Callable&& callable)
        : work_(new WorkOf<std::remove_cvref_t<Callable>>(std::forward<Callable>(callable))) {}
    Step(Step&& other) noexcept : work_(std::exchange(other.work_, nullptr)) {}
    Step& operator=(Step other) noexcept {
        std::swap(work_, other.work_);
        return *this;
    }
    ~Step() { delete work_; }

    // It must not be null.
    void operator()() { work_->run(); }

private:
    struct Work {
        Work() = default;
        Work(Work const&) = delete;
        Work& operator=(Work const&) = delete;
        virtual ~Work() = default;
        virtual void run() = 0;
    };
    template <class Callable>
    struct WorkOf final : Work {
        template <class Given>
        explicit WorkOf(Given&& given) : callable(std::forward<Given>(given)) {}
        void run() override { callable(); }
        Callable callable;
    };

    Work* work_ = nullptr;
};

}  // namespace Zin
