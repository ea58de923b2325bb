#pragma once

#include <algorithm>
#include <utility>

namespace vx::utility {

/// Assign \p value to \p target if they differ.
/// \return whether something was assigned
template <typename T, typename U>
bool compare_set(T& target, U const& value) {
    if (target == value) return false;
    target = value;
    return true;
}

/// Remove every element of \p container for which \p predicate holds.
template <typename Container, typename Predicate>
void erase_if(Container& container, Predicate predicate) {
    container.erase(std::remove_if(container.begin(), container.end(), predicate), container.end());
}

/// Calls a function when the scope ends, however it ends.
template <typename Function>
class scope_exit {
public:
    explicit scope_exit(Function function) : function_(std::move(function)) {}
    scope_exit(scope_exit const&) = delete;
    scope_exit& operator=(scope_exit const&) = delete;
    ~scope_exit() { function_(); }

private:
    Function function_;
};

} // namespace vx::utility
