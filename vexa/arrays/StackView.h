#pragma once

#include <memory>

#include <vexa/arrays/Region.h>
#include <vexa/foundation/export.h>

namespace Vexa::arrays {

class StackInterface;

/// A region together with the stack that it looks at.
///
/// Owns: a share of the stack, which is never null.
class VEXA_API StackView : public Region {
public:
    /// All of the stack.
    /// \throws std::invalid_argument "Cannot create view: No stack specified."
    explicit StackView(std::shared_ptr<StackInterface> stack);
    /// A part of the stack.
    /// \throws std::invalid_argument "Cannot create view: No stack specified."
    StackView(std::shared_ptr<StackInterface> stack, Region const& region);

    std::shared_ptr<StackInterface> const& stack() const { return stack_; }

private:
    std::shared_ptr<StackInterface> stack_;
};

} // namespace Vexa::arrays
