#pragma once

#include <unordered_set>
#include <vector>

namespace Vexa::bf {

/// Where a walk along a chain has been. Most chains ascend, which is known without a look at the past.
class VisitedPositions {
public:
    /// \return false if the position was added before
    bool add(unsigned long position) {
        if (all_.empty()) {
            if (ascending_.empty() || position > ascending_.back()) {
                ascending_.push_back(position);
                return true;
            }
            all_.insert(ascending_.begin(), ascending_.end());
        }
        return all_.insert(position).second;
    }

private:
    std::vector<unsigned long> ascending_;  ///< until the chain first goes back
    std::unordered_set<unsigned long> all_; ///< from then on
};

} // namespace Vexa::bf
