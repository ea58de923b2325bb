#include <vexa/props/props.h>

#include <algorithm>
#include <stdexcept>

#include <fmt/format.h>

#include <vexa/props/propcompare.h>
#include <vexa/props/type_list_internal.h>

static_assert(sizeof(unsigned long) == 8 && sizeof(long) == 8 && sizeof(void*) == sizeof(unsigned long));

namespace {

using Vexa::props::with_value_type;
namespace types = Vexa::types;

std::string type_text(int code) {
    return fmt::format("{}{}", vexa_dt_get_name(code), types::is_array(code) ? "[]" : "");
}

/// Deletes holders one after the other, however deep they are nested: what a deleted value releases in its
/// turn is queued and not deleted on top of it. The queue runs through the use counts, which are free by
/// then.
class HolderQueue {
public:
    void remove(VProp::placeholder* holder) noexcept {
        holder->use_count = reinterpret_cast<unsigned long>(first_);
        first_ = holder;
        if (busy_) return;
        busy_ = true;
        while (first_) {
            VProp::placeholder* const next = first_;
            first_ = reinterpret_cast<VProp::placeholder*>(next->use_count);
            delete next;
        }
        busy_ = false;
    }

private:
    VProp::placeholder* first_ = nullptr;
    bool busy_ = false;
};

constinit thread_local HolderQueue holder_queue;

} // namespace

VPropInfo::~VPropInfo() = default;
void VPropInfo::on_detach(void*) {}

VProp::placeholder::~placeholder() = default;

VProp::VProp(VProp const& other) {
    if (!other.content) return;
    if (other.content->deep_copy) {
        content = other.content->clone();
    } else {
        content = other.content;
        ++content->use_count;
    }
}

VProp::VProp(VProp&& other) noexcept : content(std::exchange(other.content, nullptr)) {
    other.detached(content);
}

VProp& VProp::operator=(VProp const& other) {
    if (this != &other) *this = VProp(other);
    return *this;
}

VProp& VProp::operator=(VProp&& other) noexcept {
    if (this == &other) return *this;
    placeholder* const taken = std::exchange(other.content, nullptr);
    placeholder* const dropped = std::exchange(content, taken);
    other.detached(taken);
    if (dropped != taken) detached(dropped);
    release(dropped);
    return *this;
}

VProp::~VProp() { reset(); }

void VProp::reset() noexcept {
    if (info) {
        std::weak_ptr<VPropInfo> const observer = info;
        info.reset();
        if (auto const alive = observer.lock(); alive && content) alive->on_detach(content->value_ptr());
    }
    release(std::exchange(content, nullptr));
}

int VProp::get_id() const { return content ? content->get_id() : types::none; }

void VProp::own() {
    if (!content || content->use_count == 1) return;
    placeholder* const copy = content->clone();
    placeholder* const shared = std::exchange(content, copy);
    --shared->use_count;
    detached(shared);
}

void VProp::check_type(std::type_info const& expected, int expected_code) const {
    std::type_info const& found = content ? content->type() : typeid(void);
    if (found != expected)
        throw std::runtime_error(fmt::format("Type mismatch: found {}, expected {}", type_text(get_id()),
                                             type_text(expected_code)));
}

VProparrayBase* VProp::get_arr(bool must_be_array) {
    return const_cast<VProparrayBase*>(std::as_const(*this).get_arr(must_be_array));
}

VProparrayBase const* VProp::get_arr(bool must_be_array) const {
    VProparrayBase const* result = nullptr;
    if (types::is_array(get_id()))
        with_value_type(get_id(), [&]<typename T>(std::type_identity<T>) {
            if constexpr (std::is_base_of_v<VProparrayBase, T>) result = &get<T>();
        });
    if (!result && must_be_array) throw std::runtime_error("Type mismatch: expected 'array' type.");
    return result;
}

bool VProp::operator==(VProp const& other) const { return Vexa::props::is_equal(*this, other, {}); }

/// Tell the observer that this handle has stopped looking at \p from.
void VProp::detached(placeholder* from) noexcept {
    if (info && from) info->on_detach(from->value_ptr());
}

void VProp::release(placeholder* from) noexcept {
    if (from && --from->use_count == 0) holder_queue.remove(from);
}

VPropstruct::iterator VPropstruct::find(std::string const& name) {
    return std::find_if(begin(), end(), [&name](auto const& member) { return member.first == name; });
}

VPropstruct::const_iterator VPropstruct::find(std::string const& name) const {
    return std::find_if(begin(), end(), [&name](auto const& member) { return member.first == name; });
}

bool VPropstruct::has_key(std::string const& name) const { return find(name) != end(); }

bool VPropstruct::erase(std::string const& name) {
    auto const found = find(name);
    if (found == end()) return false;
    base::erase(found);
    return true;
}
