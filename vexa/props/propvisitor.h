#pragma once

#include <string>
#include <vector>

#include <vexa/foundation/export.h>
#include <vexa/props/props.h>

/// Walks a property tree depth first and tells a derived class about each value. The walk keeps its own
/// stack, so trees of any depth can be visited. The tree must not change during the walk.
///
/// Containers are structures, cell, structure and string arrays, and handles in handles. All else is a leaf,
/// an empty handle too.
///
/// A derived class that overrides one of the overloads says `using VPropVisitor::visit;` and
/// `using VPropVisitor::visit_exit;` to keep the others visible.
/// Threads: one at a time.
class VEXA_API VPropVisitor {
public:
    /// One open container.
    struct StackEntry {
        std::string
            name; ///< of the member now being visited, in a structure or an element of a structure array
        long index = -1; ///< flat index of the element now being visited, in a cell or structure array
        VProp const* prop = nullptr; ///< the container
    };

    /// Called before a value's children.
    /// \return 0 stops the walk, 1 goes on into the value, 2 skips its children
    virtual int visit(VProp const&);
    /// Called behind a value's children, also where they were skipped.
    /// \return false stops the walk
    virtual bool visit_exit(VProp const&);
    /// The same for the elements of structure arrays.
    virtual int visit(VPropstruct const&);
    virtual bool visit_exit(VPropstruct const&);
    /// Called for each string of a string array.
    /// \return false stops the walk
    virtual bool visit_exit(VPropstring const&);
    virtual ~VPropVisitor();

    /// Walk a tree.
    /// \return whether the walk came to its end
    /// \throws std::runtime_error "Invalid return value from visit()."; what the called functions throw
    bool run(VProp const& top);
    /// Walk a part of a tree, with what is open now as its surroundings. Otherwise as run().
    bool process(VProp const& p);
    bool process(VPropstruct const& s);
    /// For VProp, VPropstruct and VPropstring.
    template <typename T>
    bool process(VProparray<T> const& array);

    static bool is_container(VProp const& p);

    /// The path of the place that the first \p count entries lead to, in the grammar of VexaProps.h. What a
    /// path cannot name, such as the value in a nested handle, adds nothing.
    /// \note Deliberate: positions are
    /// those of VProparrayBase::get_pos(), so that in an array without a stored shape they begin with 1.
    /// \throws std::runtime_error as VProparrayBase::get_pos()
    static std::string get_path(std::vector<StackEntry> const& entries, unsigned long count);
    std::string get_cur_path(unsigned long count) const;
    /// The part of a path that one entry stands for.
    /// \param first leave out the `.` before a name
    static std::string get_path_segment(StackEntry const& entry, bool first);

protected:
    /// The index of the string now being visited in a string array; -1 elsewhere.
    long string_index = -1;
    /// The open containers, the innermost last.
    std::vector<StackEntry> stack;

private:
    struct Frame;
    using Frames = std::vector<Frame>;

    bool walk(Frames& frames, std::size_t open);
    bool step(Frames& frames);
    bool step_structs(Frames& frames);
    bool step_strings(Frames& frames);
    bool step_member(Frames& frames);
    bool enter(VProp const& p, Frames& frames);
    bool leave(Frames& frames);
};
