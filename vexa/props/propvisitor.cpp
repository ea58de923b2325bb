#include <vexa/props/propvisitor.h>

#include <algorithm>
#include <stdexcept>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <vexa/foundation/utility.h>

namespace {

enum class Children { nested, members, cells, structs, strings };

int checked(int answer) {
    if (answer < 0 || answer > 2) throw std::runtime_error("Invalid return value from visit().");
    return answer;
}

} // namespace

/// The state of the walk in one container.
struct VPropVisitor::Frame {
    explicit Frame(VPropstruct const& s) : kind(Children::members), members(&s) {}
    explicit Frame(VProparray<VProp> const& a) : kind(Children::cells), cells(&a) {}
    explicit Frame(VProparray<VPropstruct> const& a) : kind(Children::structs), structs(&a) {}
    explicit Frame(VProparray<VPropstring> const& a) : kind(Children::strings), strings(&a) {}
    explicit Frame(VProp const& p) : prop(&p) {
        if (auto const* const found = p.get_if<VPropstruct>())
            kind = Children::members, members = found;
        else if (auto const* const c = p.get_if<VProparray<VProp>>())
            kind = Children::cells, cells = c;
        else if (auto const* const s = p.get_if<VProparray<VPropstruct>>())
            kind = Children::structs, structs = s;
        else if (auto const* const t = p.get_if<VProparray<VPropstring>>())
            kind = Children::strings, strings = t;
    }

    Children kind = Children::nested;
    VProp const* prop = nullptr; ///< has an entry on the visitor's stack; null for a part without handle
    VPropstruct const* members = nullptr; ///< in a structure array the open element, null between two
    VProparray<VProp> const* cells = nullptr;
    VProparray<VPropstruct> const* structs = nullptr;
    VProparray<VPropstring> const* strings = nullptr;
    std::size_t next = 0; ///< element
    std::size_t next_member = 0;
};

int VPropVisitor::visit(VProp const&) { return 1; }
bool VPropVisitor::visit_exit(VProp const&) { return true; }
int VPropVisitor::visit(VPropstruct const&) { return 1; }
bool VPropVisitor::visit_exit(VPropstruct const&) { return true; }
bool VPropVisitor::visit_exit(VPropstring const&) { return true; }
VPropVisitor::~VPropVisitor() = default;

bool VPropVisitor::run(VProp const& top) {
    stack.clear();
    string_index = -1;
    return process(top);
}

bool VPropVisitor::process(VProp const& p) {
    Frames frames;
    std::size_t const open = stack.size();
    return enter(p, frames) && walk(frames, open);
}

bool VPropVisitor::process(VPropstruct const& s) {
    Frames frames{Frame(s)};
    return walk(frames, stack.size());
}

template <typename T>
bool VPropVisitor::process(VProparray<T> const& array) {
    Frames frames{Frame(array)};
    return walk(frames, stack.size());
}

template VEXA_API bool VPropVisitor::process(VProparray<VProp> const&);
template VEXA_API bool VPropVisitor::process(VProparray<VPropstruct> const&);
template VEXA_API bool VPropVisitor::process(VProparray<VPropstring> const&);

bool VPropVisitor::is_container(VProp const& p) {
    return p.get_if<VProp>() || p.get_if<VPropstruct>() || p.get_if<VProparray<VProp>>() ||
           p.get_if<VProparray<VPropstruct>>() || p.get_if<VProparray<VPropstring>>();
}

/// \param open the number of entries that are left open in the end, however the walk ends
bool VPropVisitor::walk(Frames& frames, std::size_t open) {
    vx::utility::scope_exit const restore([this, open] { stack.resize(open); });
    while (!frames.empty())
        if (!step(frames)) return false;
    return true;
}

/// Take the next child of the innermost container.
/// \return false if the walk is to stop
bool VPropVisitor::step(Frames& frames) {
    Frame& frame = frames.back();
    switch (frame.kind) {
    case Children::nested: return frame.next++ == 0 ? enter(frame.prop->get<VProp>(), frames) : leave(frames);
    case Children::members:
        return frame.next_member < frame.members->size() ? step_member(frames) : leave(frames);
    case Children::structs: return step_structs(frames);
    case Children::strings: return step_strings(frames);
    case Children::cells: break;
    }
    if (frame.next == frame.cells->size()) return leave(frames);
    if (!stack.empty()) stack.back().index = static_cast<long>(frame.next);
    return enter((*frame.cells)[frame.next++], frames);
}

bool VPropVisitor::step_member(Frames& frames) {
    Frame& frame = frames.back();
    auto const& [name, value] = (*frame.members)[frame.next_member++];
    if (!stack.empty()) stack.back().name = name;
    return enter(value, frames);
}

bool VPropVisitor::step_structs(Frames& frames) {
    Frame& frame = frames.back();
    if (frame.members && frame.next_member < frame.members->size()) return step_member(frames);
    if (frame.members) {
        VPropstruct const& done = *std::exchange(frame.members, nullptr);
        ++frame.next;
        return visit_exit(done);
    }
    if (frame.next == frame.structs->size()) return leave(frames);
    VPropstruct const& element = (*frame.structs)[frame.next];
    if (!stack.empty()) {
        stack.back().index = static_cast<long>(frame.next);
        stack.back().name.clear();
    }
    int const answer = checked(visit(element));
    frame.members = &element;
    frame.next_member = answer == 1 ? 0 : element.size();
    return answer != 0;
}

bool VPropVisitor::step_strings(Frames& frames) {
    vx::utility::scope_exit const restore([this] { string_index = -1; });
    string_index = 0;
    for (VPropstring const& text : *frames.back().strings) {
        if (!visit_exit(text)) return false;
        ++string_index;
    }
    string_index = -1;
    return leave(frames);
}

bool VPropVisitor::enter(VProp const& p, Frames& frames) {
    int const answer = checked(visit(p));
    if (answer == 0) return false;
    if (answer == 2 || !is_container(p)) return visit_exit(p);
    frames.emplace_back(p);
    stack.push_back({{}, -1, &p});
    return true;
}

bool VPropVisitor::leave(Frames& frames) {
    VProp const* const prop = frames.back().prop;
    frames.pop_back();
    if (!prop) return true;
    stack.pop_back();
    return visit_exit(*prop);
}

std::string VPropVisitor::get_path_segment(StackEntry const& entry, bool first) {
    std::string segment;
    if (entry.index >= 0 && entry.prop) {
        VProparrayBase const* const array = entry.prop->get_arr(true);
        auto const position = array->get_pos(static_cast<unsigned long>(entry.index), nullptr);
        bool const cells = entry.prop->get_if<VProparray<VProp>>() != nullptr;
        segment = fmt::format("{}{}{}", cells ? '{' : '(', fmt::join(position, ","), cells ? '}' : ')');
    }
    if (entry.name.empty()) return segment;
    if (!first || !segment.empty()) segment += '.';
    return segment + entry.name;
}

std::string VPropVisitor::get_path(std::vector<StackEntry> const& entries, unsigned long count) {
    std::string path;
    for (std::size_t i = 0; i < std::min<std::size_t>(count, entries.size()); ++i)
        path += get_path_segment(entries[i], path.empty());
    return path;
}

std::string VPropVisitor::get_cur_path(unsigned long count) const { return get_path(stack, count); }
