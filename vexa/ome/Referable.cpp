#include <vexa/ome/Referable.h>

namespace OME {

Referable::~Referable() {
    while (first_) first_->unbind();
}

void Bond::bind(Referable& target) {
    unbind();
    target_ = &target;
    next_ = target.first_;
    if (next_) next_->previous_ = this;
    target.first_ = this;
}

void Bond::unbind() {
    if (!target_) return;
    (previous_ ? previous_->next_ : target_->first_) = next_;
    if (next_) next_->previous_ = previous_;
    target_ = nullptr;
    previous_ = next_ = nullptr;
}

} // namespace OME
