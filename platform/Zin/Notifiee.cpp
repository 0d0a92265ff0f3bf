#include "Zin/Notifiee.h"

namespace Zin {

NotifieeBase::~NotifieeBase() { listIs(nullptr); }

void NotifieeBase::listIs(NotifieeListBase* list) noexcept {
    if (list_) {
        list_->remove(*this);
    }
    list_ = list;
    if (list_) {
        list_->add(*this);
    }
}

NotifieeListBase::~NotifieeListBase() {
    while (first_) {
        first_->listIs(nullptr);
    }
}

void NotifieeListBase::add(NotifieeBase& notifiee) noexcept {
    notifiee.order_ = ++registered_;
    notifiee.previous_ = last_;
    notifiee.next_ = nullptr;
    (last_ ? last_->next_ : first_) = &notifiee;
    last_ = &notifiee;
}

void NotifieeListBase::remove(NotifieeBase& notifiee) noexcept {
    for (Delivery* delivery = innermost_; delivery; delivery = delivery->outer_) {
        if (delivery->next_ == &notifiee) {
            delivery->next_ = notifiee.next_;
        }
    }
    (notifiee.previous_ ? notifiee.previous_->next_ : first_) = notifiee.next_;
    (notifiee.next_ ? notifiee.next_->previous_ : last_) = notifiee.previous_;
}

NotifieeListBase::Delivery::Delivery(NotifieeListBase& list) noexcept
    : list_(list),
      outer_(std::exchange(list.innermost_, this)),
      next_(list.first_),
      registered_(list.registered_) {}

}  // namespace Zin
