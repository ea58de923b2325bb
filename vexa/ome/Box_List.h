#pragma once

#include <cstddef>
#include <vector>

#include <vexa/foundation/box.h>
#include <vexa/foundation/export.h>

namespace OME {

/// A list of boxes that changes at its end only, and finds those that touch a given box without a look at
/// all of them, whatever their sizes, places and order are.
///
/// The front of the list is divided among trees of enclosing boxes, the sizes of which fall from the first to
/// the last; the few boxes behind them are in no tree yet. Each box enters a tree a logarithmic number of
/// times. Trees only compare corners, so that infinite, unknown and equal ones do no harm.
/// Invariants: the trees cover the indices from 0 on without a gap.
class VEXA_API Box_List {
public:
    /// \param tolerance what VX::touch() tolerates
    explicit Box_List(double tolerance = 0) : tolerance_(tolerance) {}

    std::vector<VX::Box> const& boxes() const { return boxes_; }
    void push_back(VX::Box const& box);
    /// Remove the last box; there must be one.
    void pop_back();
    /// The indices of the boxes that touch \p box, in ascending order.
    std::vector<std::size_t> touching(VX::Box const& box) const;

private:
    /// A part of a tree. The nodes of a tree are in an order in which the two halves follow the whole.
    struct Node {
        VX::Box hull;
        std::size_t least;      ///< the least index below
        std::size_t begin, end; ///< the part of Tree::order
        std::size_t behind;     ///< the next node that isn't below this one
    };
    /// A tree over the boxes at the indices from begin to end; those from end on have been removed since.
    struct Tree {
        std::size_t begin, end;
        std::vector<std::size_t> order; ///< indices, near ones beside each other
        std::vector<Node> nodes;
    };

    std::size_t end_of_trees() const { return trees_.empty() ? 0 : trees_.back().end; }
    void plant();
    void grow(Tree& tree, std::size_t begin, std::size_t end) const;
    std::size_t widest_axis(Tree const& tree, std::size_t begin, std::size_t end) const;
    void search(Tree const& tree, VX::Box const& box, std::vector<std::size_t>& found) const;

    double tolerance_;
    std::vector<VX::Box> boxes_;
    std::vector<Tree> trees_;
};

} // namespace OME
