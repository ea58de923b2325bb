#include <vexa/ome/Box_List.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace OME {

namespace {

constexpr std::size_t most_without_a_tree = 32;
constexpr std::size_t most_in_a_leaf = 4;

/// The low corner on one axis, by which boxes can be sorted.
double low_of(VX::Box const& box, std::size_t axis) {
    double const low = box.low[axis];
    return std::isnan(low) ? -std::numeric_limits<double>::infinity() : low;
}

} // namespace

void Box_List::push_back(VX::Box const& box) {
    boxes_.push_back(box);
    if (boxes_.size() - end_of_trees() > most_without_a_tree) plant();
}

void Box_List::pop_back() {
    boxes_.pop_back();
    if (end_of_trees() <= boxes_.size()) return;
    Tree& last = trees_.back();
    if (--last.end == last.begin) trees_.pop_back();
}

/// Make a tree of the boxes that are in none, and of the trees before that are no larger.
void Box_List::plant() {
    Tree tree{end_of_trees(), boxes_.size(), {}, {}};
    while (!trees_.empty() && trees_.back().end - trees_.back().begin <= tree.end - tree.begin) {
        tree.begin = trees_.back().begin;
        trees_.pop_back();
    }
    tree.order.resize(tree.end - tree.begin);
    std::iota(tree.order.begin(), tree.order.end(), tree.begin);
    grow(tree, 0, tree.order.size());
    trees_.push_back(std::move(tree));
}

void Box_List::grow(Tree& tree, std::size_t begin, std::size_t end) const {
    Node node{boxes_[tree.order[begin]], tree.order[begin], begin, end, 0};
    for (std::size_t i = begin + 1; i < end; ++i) {
        node.hull = VX::enclosing(node.hull, boxes_[tree.order[i]]);
        node.least = std::min(node.least, tree.order[i]);
    }
    std::size_t const here = tree.nodes.size();
    tree.nodes.push_back(node);
    if (end - begin > most_in_a_leaf) {
        std::size_t const axis = widest_axis(tree, begin, end), middle = begin + (end - begin) / 2;
        auto const at = [&](std::size_t i) { return tree.order.begin() + static_cast<std::ptrdiff_t>(i); };
        std::nth_element(at(begin), at(middle), at(end), [&](std::size_t a, std::size_t b) {
            return low_of(boxes_[a], axis) < low_of(boxes_[b], axis);
        });
        grow(tree, begin, middle);
        grow(tree, middle, end);
    }
    tree.nodes[here].behind = tree.nodes.size();
}

std::size_t Box_List::widest_axis(Tree const& tree, std::size_t begin, std::size_t end) const {
    std::size_t widest = 0;
    double width = 0;
    for (std::size_t axis = 0; axis < VX::XYZ<double>::axes; ++axis) {
        double least = low_of(boxes_[tree.order[begin]], axis), greatest = least;
        for (std::size_t i = begin + 1; i < end; ++i) {
            double const low = low_of(boxes_[tree.order[i]], axis);
            least = std::min(least, low);
            greatest = std::max(greatest, low);
        }
        if (greatest - least > width) {
            width = greatest - least;
            widest = axis;
        }
    }
    return widest;
}

std::vector<std::size_t> Box_List::touching(VX::Box const& box) const {
    std::vector<std::size_t> found;
    for (Tree const& tree : trees_) search(tree, box, found);
    std::sort(found.begin(), found.end());
    for (std::size_t i = end_of_trees(); i < boxes_.size(); ++i)
        if (VX::touch(boxes_[i], box, tolerance_)) found.push_back(i);
    return found;
}

void Box_List::search(Tree const& tree, VX::Box const& box, std::vector<std::size_t>& found) const {
    std::size_t i = 0;
    while (i < tree.nodes.size()) {
        Node const& node = tree.nodes[i];
        if (node.least >= tree.end || !VX::touch(node.hull, box, tolerance_)) {
            i = node.behind;
            continue;
        }
        ++i;
        if (node.end - node.begin > most_in_a_leaf) continue;
        for (std::size_t j = node.begin; j < node.end; ++j) {
            std::size_t const index = tree.order[j];
            if (index < tree.end && VX::touch(boxes_[index], box, tolerance_)) found.push_back(index);
        }
    }
}

} // namespace OME
