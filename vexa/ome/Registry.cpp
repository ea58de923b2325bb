#include <vexa/ome/Registry.h>

#include <limits>

namespace OME {

void Numbers::erase_one(int number) {
    auto const found = numbers_.find(number);
    if (found == numbers_.end()) return;
    numbers_.erase(found);
    if (number >= 1 && number < taken_below_ && !numbers_.contains(number)) taken_below_ = number;
}

int Numbers::fresh() const {
    constexpr int greatest = std::numeric_limits<int>::max();
    if (numbers_.empty()) return 1;
    if (*numbers_.rbegin() < greatest) return *numbers_.rbegin() + 1;
    auto taken = numbers_.lower_bound(taken_below_);
    while (taken_below_ < greatest && *taken == taken_below_) taken = numbers_.upper_bound(taken_below_++);
    return taken_below_;
}

} // namespace OME
