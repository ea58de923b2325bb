#include <vexa/arrays/StackInfoImp.h>

#include <algorithm>
#include <stdexcept>

#include <vexa/foundation/utility.h>

namespace Vexa::arrays {

namespace {

using vx::utility::compare_set;

constexpr double default_offset = -0.5;

enum Mask : unsigned int {
    axis_changed = 0x1,
    label_changed = 0x2,
    value_changed = 0x4,
    name_changed = 0x10,
    description_changed = 0x20,
    timestamp_changed = 0x40,
    stack_position_changed = 0x80,
};

/// The mask of a change of column positions, which names the axis.
unsigned int columns_changed(std::size_t axis) {
    return static_cast<unsigned int>(axis) << 16 | axis_changed;
}

std::size_t multiply(std::size_t a, std::size_t b) {
    std::size_t product = 0;
    if (__builtin_mul_overflow(a, b, &product))
        throw std::runtime_error("The product exceeds the maximum size.");
    return product;
}

std::size_t product_of(std::size_t const* first, std::size_t const* last) {
    std::size_t product = 1;
    for (; first != last && product != 0; ++first) product = multiply(product, *first);
    return product;
}

/// Assign the entries that both vectors have.
/// \return whether any differed; NaN always differs
bool assign_common(std::vector<double>& target, std::vector<double> const& values) {
    bool changed = false;
    for (std::size_t i = 0; i < std::min(target.size(), values.size()); ++i) {
        if (target[i] == values[i]) continue;
        target[i] = values[i];
        changed = true;
    }
    return changed;
}

} // namespace

std::size_t detail::get_product(std::vector<std::size_t> const& shape) {
    return shape.empty() ? 0 : product_of(shape.data(), shape.data() + shape.size());
}

GetStackInfoInterface::~GetStackInfoInterface() = default;

StackInfoInterface::~StackInfoInterface() = default;

StackInfoImp::StackInfoImp(int type, std::vector<std::size_t> const& shape) : type_(type) {
    set_shape(shape);
    std::transform(shape.begin(), shape.end(), lengths_.begin(),
                   [](std::size_t size) { return static_cast<double>(size); });
}

StackInfoImp::StackInfoImp(StackInfoInterface const& source, int type)
    : StackInfoImp(type != 0 ? type : source.type(), source.shape()) {
    StackInfoImp::set_name(source.name());
    StackInfoImp::set_description(source.description());
    StackInfoImp::set_timestamp(source.timestamp());
    StackInfoImp::set_lengths(source.lengths());
    StackInfoImp::set_offsets(source.offsets());
    StackInfoImp::set_labels(source.labels());
    for (std::string const& key : source.tag_keys()) StackInfoImp::set_tag(key, source.tag(key));
    for (std::size_t axis = 0; axis < std::min(shape_.size(), source.shape().size()); ++axis) {
        StackInfoImp::set_col_labels(axis, source.col_labels(axis));
        StackInfoImp::set_units(axis, source.units(axis));
        // Generated positions are not copied: they would make the copy remember an outdated length.
        StackInfoImp::set_col_positions(axis, source.is_equidistant(axis) ? std::vector<double>()
                                                                          : source.col_positions(axis));
        StackInfoImp::set_xy_col_positions(axis, source.xy_col_positions(axis));
    }
    StackInfoImp::set_stack_position(source.stack_position());
    StackInfoImp::set_data_units(source.data_units());
}

StackInfoImp::StackInfoImp(StackInfoImp&&) = default;

StackInfoImp::~StackInfoImp() = default;

std::vector<std::size_t> const& StackInfoImp::shape() const { return shape_; }

std::size_t StackInfoImp::number_of_elements() const { return number_of_elements_; }

int StackInfoImp::type() const { return type_; }

std::string const& StackInfoImp::name() const { return name_; }

std::string const& StackInfoImp::description() const { return description_; }

Timestamp StackInfoImp::timestamp() const { return timestamp_; }

std::vector<double> const& StackInfoImp::lengths() const { return lengths_; }

std::vector<double> const& StackInfoImp::offsets() const { return offsets_; }

std::vector<std::string> const& StackInfoImp::labels() const { return labels_; }

std::vector<std::string> const& StackInfoImp::col_labels(std::size_t axis) const {
    return columns_[checked_axis(axis)].labels;
}

std::vector<double> const& StackInfoImp::col_positions(std::size_t axis) const {
    std::size_t const n = shape_[checked_axis(axis)];
    std::vector<double>& positions = columns_[axis].positions;
    if (positions.size() == n) return positions;
    positions.clear();
    if (!columns_[axis].equidistant) return positions;

    positions.reserve(n);
    double const step = lengths_[axis] / static_cast<double>(n);
    double position = offsets_[axis] - lengths_[axis] * 0.5 + 0.5 * step;
    for (std::size_t i = 0; i < n; ++i, position += step) positions.push_back(position);
    return positions;
}

double StackInfoImp::col_position(std::size_t axis, std::size_t index) const {
    std::size_t const n = shape_[checked_axis(axis)];
    bool const generated = is_equidistant(axis);
    if (index >= n || (!generated && index >= columns_[axis].positions.size()))
        throw std::invalid_argument("Invalid pixel position.");
    if (!generated) return columns_[axis].positions[index];
    return (lengths_[axis] / static_cast<double>(n)) * (static_cast<double>(index) + 0.5) + offsets_[axis];
}

std::vector<std::pair<double, double>> const& StackInfoImp::xy_col_positions(std::size_t axis) const {
    std::vector<std::pair<double, double>>& positions = columns_[checked_axis(axis)].xy_positions;
    if (positions.size() != shape_[axis]) positions.clear();
    return positions;
}

bool StackInfoImp::is_equidistant(std::size_t axis) const { return columns_[checked_axis(axis)].equidistant; }

StackPosition const& StackInfoImp::stack_position() const { return stack_position_; }

double StackInfoImp::length(std::size_t axis) const { return lengths_[checked_axis(axis)]; }

double StackInfoImp::offset(std::size_t axis) const { return offsets_[checked_axis(axis)]; }

std::string const& StackInfoImp::label(std::size_t axis) const { return labels_[checked_axis(axis)]; }

Vexa::units::RuntimeValue const& StackInfoImp::units(std::size_t axis) const {
    Vexa::units::RuntimeValue& unit = units_[checked_axis(axis)];
    std::string const& label = labels_[axis];
    if (!unit.is_dimensionless() || label.empty()) return unit;

    constexpr double largest_plain_length = 0.01; // above it the axis is taken to count micrometres
    if (char const last = label.back(); last == 'X' || last == 'Y' || last == 'Z')
        unit.set_value("m", lengths_[axis] > largest_plain_length ? 1e-6 : 1.0);
    else if (last == 'T')
        unit.set_value("s", 1.0);
    return unit;
}

Vexa::units::RuntimeValue const& StackInfoImp::data_units() const { return data_units_; }

std::vector<std::string> StackInfoImp::tag_keys() const {
    std::vector<std::string> keys;
    keys.reserve(tags_.size());
    for (auto const& [key, value] : tags_) keys.push_back(key);
    return keys;
}

Tag const& StackInfoImp::tag(std::string const& key) const { return tags_.at(key); }

void StackInfoImp::set_name(std::string const& name) {
    throw_if_locked();
    if (compare_set(name_, name)) on_info_changed(name_changed);
}

void StackInfoImp::set_description(std::string const& description) {
    throw_if_locked();
    if (compare_set(description_, description)) on_info_changed(description_changed);
}

void StackInfoImp::set_timestamp(Timestamp timestamp) {
    throw_if_locked();
    if (compare_set(timestamp_, timestamp)) on_info_changed(timestamp_changed);
}

void StackInfoImp::set_timestamp() {
    set_timestamp(std::chrono::time_point_cast<Timestamp::duration>(std::chrono::system_clock::now()));
}

void StackInfoImp::set_lengths(std::vector<double> const& lengths) {
    throw_if_locked();
    if (assign_common(lengths_, lengths)) on_info_changed(axis_changed);
}

void StackInfoImp::set_offsets(std::vector<double> const& offsets) {
    throw_if_locked();
    if (assign_common(offsets_, offsets)) on_info_changed(axis_changed);
}

void StackInfoImp::set_labels(std::vector<std::string> const& labels) {
    throw_if_locked();
    // All or nothing, although copying a text may fail: the new labels are complete before the first one is
    // set.
    std::vector<std::string> changed = labels_;
    std::copy_n(labels.begin(), std::min(labels.size(), changed.size()), changed.begin());
    if (changed == labels_) return;
    labels_.swap(changed);
    on_info_changed(label_changed);
}

void StackInfoImp::set_stack_position(StackPosition const&) {
    throw_if_locked();
    on_info_changed(stack_position_changed);
}

void StackInfoImp::set_col_labels(std::size_t axis, std::vector<std::string> const& labels) {
    throw_if_locked();
    throw_if_invalid_axis(axis);
    if (labels.empty()) {
        columns_[axis].labels.clear();
        return;
    }
    if (labels.size() != shape_[axis]) throw std::invalid_argument("Wrong number of labels.");
    if (compare_set(columns_[axis].labels, labels)) on_info_changed(axis_changed);
}

void StackInfoImp::set_col_positions(std::size_t axis, std::vector<double> const& positions) {
    throw_if_locked();
    throw_if_invalid_axis(axis);
    if (!positions.empty() && positions.size() != shape_[axis])
        throw std::invalid_argument("Wrong number of positions.");
    columns_[axis].equidistant = positions.empty();
    if (compare_set(columns_[axis].positions, positions)) on_info_changed(columns_changed(axis));
}

void StackInfoImp::set_xy_col_positions(std::size_t axis,
                                        std::vector<std::pair<double, double>> const& positions) {
    throw_if_locked();
    throw_if_invalid_axis(axis);
    if (!positions.empty() && positions.size() != shape_[axis])
        throw std::invalid_argument("Wrong number of positions.");
    if (compare_set(columns_[axis].xy_positions, positions)) on_info_changed(columns_changed(axis));
}

void StackInfoImp::set_length(std::size_t axis, double length) {
    throw_if_locked();
    throw_if_invalid_axis(axis);
    if (compare_set(lengths_[axis], length)) on_info_changed(axis_changed);
}

void StackInfoImp::set_offset(std::size_t axis, double offset) {
    throw_if_locked();
    throw_if_invalid_axis(axis);
    if (compare_set(offsets_[axis], offset)) on_info_changed(value_changed);
}

void StackInfoImp::set_label(std::size_t axis, std::string const& label) {
    throw_if_locked();
    throw_if_invalid_axis(axis);
    if (compare_set(labels_[axis], label)) on_info_changed(label_changed);
}

void StackInfoImp::set_units(std::size_t axis, Vexa::units::RuntimeValue const& units) {
    throw_if_locked();
    throw_if_invalid_axis(axis);
    if (compare_set(units_[axis], units)) on_info_changed(axis_changed);
}

void StackInfoImp::set_data_units(Vexa::units::RuntimeValue const& units) {
    throw_if_locked();
    if (compare_set(data_units_, units)) on_info_changed(value_changed);
}

void StackInfoImp::set_tag(std::string const& key, Tag const& value) { tags_.insert_or_assign(key, value); }

Tag& StackInfoImp::tag(std::string const& key) { return tags_[key]; }

void StackInfoImp::beg_defer_info_update_signals() { ++defer_count_; }

void StackInfoImp::end_defer_info_update_signals(bool) {
    if (defer_count_ <= 0 || --defer_count_ != 0 || deferred_changes_ == 0) return;
    // Taken before the call, so that a listener may defer changes of its own.
    signal_info_changed(std::exchange(deferred_changes_, 0u));
}

SafeTags& StackInfoImp::safe_tags() { return safe_tag_map_; }

void StackInfoImp::signal_info_changed(unsigned int) {}

void StackInfoImp::throw_if_invalid_axis(std::size_t axis) const { checked_axis(axis); }

void StackInfoImp::throw_if_locked() const {
    if (locked_) throw std::runtime_error("Cannot set values: Object locked.");
}

void StackInfoImp::on_info_changed(unsigned int mask) {
    if (defer_count_ != 0)
        deferred_changes_ |= mask;
    else
        signal_info_changed(mask);
}

void StackInfoImp::set_shape(std::vector<std::size_t> const& shape) {
    std::size_t const number_of_elements = detail::get_product(shape);
    std::size_t const rank = shape.size();
    columns_.resize(rank);
    lengths_.resize(rank, 1.0);
    offsets_.resize(rank, default_offset);
    labels_.resize(rank);
    units_.resize(rank);
    shape_ = shape;
    number_of_elements_ = number_of_elements;
}

void StackInfoImp::set_last_axis(std::size_t size, double length) {
    if (shape_.empty()) return;
    number_of_elements_ = multiply(product_of(shape_.data(), shape_.data() + shape_.size() - 1), size);
    shape_.back() = size;
    if (compare_set(lengths_.back(), length)) on_info_changed(axis_changed);
}

std::size_t StackInfoImp::checked_axis(std::size_t axis) const {
    if (axis >= shape_.size()) throw std::invalid_argument("Invalid axis specified.");
    return axis;
}

} // namespace Vexa::arrays
