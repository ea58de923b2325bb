#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <vexa/arrays/StackPosition.h>
#include <vexa/foundation/exclusive_access.h>
#include <vexa/foundation/export.h>
#include <vexa/json/Value.h>
#include <vexa/props/props.h>
#include <vexa/units/RuntimeValue.h>

namespace Vexa::arrays {

/// A point of the system clock in nanoseconds; the epoch means that no time is known.
using Timestamp = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;
/// The value of a tag.
using Tag = std::variant<VProp, JSON::Value>;
/// Tags that several threads may reach: the map and each of its values have a lock of their own.
using SafeTags = Zinflux::exclusive_access<std::map<std::string, Zinflux::exclusive_access<Tag>>>;

/// The description of an N-dimensional stack of samples, for reading: everything but the samples.
///
/// Axes: axis 0 varies fastest. Every function with an axis throws std::invalid_argument "Invalid axis
/// specified." when it is not below the rank, which is shape().size().
/// Lifetime: results by reference live until the stack changes or goes.
/// Threads: one at a time, for const functions too, since three of them complete stored values.
class VEXA_API GetStackInfoInterface {
public:
    virtual ~GetStackInfoInterface();

    /// The number of samples along each axis.
    virtual std::vector<std::size_t> const& shape() const = 0;
    /// The product of the shape; 0 for rank 0.
    virtual std::size_t number_of_elements() const = 0;
    /// The type code of the samples.
    virtual int type() const = 0;
    virtual std::string const& name() const = 0;
    virtual std::string const& description() const = 0;
    virtual Timestamp timestamp() const = 0;
    /// The physical extent of each axis, in its unit.
    virtual std::vector<double> const& lengths() const = 0;
    /// The physical offset of each axis, in its unit.
    virtual std::vector<double> const& offsets() const = 0;
    virtual std::vector<std::string> const& labels() const = 0;
    /// One label per column of the axis, or empty.
    virtual std::vector<std::string> const& col_labels(std::size_t axis) const = 0;
    /// The positions of the columns, which are generated and stored at the first call for an equidistant
    /// axis: from then on they stay as they are, whatever becomes of length and offset. Empty for an axis
    /// that is not equidistant and has none of the right number.
    /// \note Deliberate: offset() is the centre of the axis here, and its lower edge in col_position().
    virtual std::vector<double> const& col_positions(std::size_t axis) const = 0;
    /// The position of one column: (length / n) * (index + 0.5) + offset, or the stored one on an axis
    /// that is not equidistant.
    /// \throws std::invalid_argument "Invalid pixel position." for an index that is not below the axis'
    /// size, and where an axis that is not equidistant stores no position for it.
    virtual double col_position(std::size_t axis, std::size_t index) const = 0;
    /// One pair per column of the axis, or empty. Stored pairs of another number are cleared.
    virtual std::vector<std::pair<double, double>> const& xy_col_positions(std::size_t axis) const = 0;
    /// Whether the columns are evenly spaced.
    virtual bool is_equidistant(std::size_t axis) const = 0;
    virtual StackPosition const& stack_position() const = 0;
    virtual double length(std::size_t axis) const = 0;
    virtual double offset(std::size_t axis) const = 0;
    virtual std::string const& label(std::size_t axis) const = 0;
    /// The unit of the axis. A dimensionless unit is replaced, in the stored value and without a report,
    /// by what the last letter of the label says: metres for X, Y and Z, scaled by 1e-6 when the length
    /// is greater than 0.01, and seconds for T.
    virtual Vexa::units::RuntimeValue const& units(std::size_t axis) const = 0;
    /// The unit of the samples.
    virtual Vexa::units::RuntimeValue const& data_units() const = 0;
    /// The keys of all tags, in ascending order.
    virtual std::vector<std::string> tag_keys() const = 0;
    /// \throws std::out_of_range "map::at" for a key that is not there.
    virtual Tag const& tag(std::string const& key) const = 0;
};

/// The description of a stack, for reading and changing.
///
/// Reports: a setter that changes something reports a mask of what to the stack's listeners; one that
/// finds the value as it should be does nothing. All checks come before the change.
/// Failures: every setter throws std::runtime_error "Cannot set values: Object locked." once the
/// description is locked, as it is when it stands in a file; tags stay free to change.
class VEXA_API StackInfoInterface : public GetStackInfoInterface {
public:
    ~StackInfoInterface() override;

    /// Reports 0x10.
    virtual void set_name(std::string const& name) = 0;
    /// Reports 0x20.
    virtual void set_description(std::string const& description) = 0;
    /// Reports 0x40.
    virtual void set_timestamp(Timestamp timestamp) = 0;
    /// Take the current time. Reports 0x40.
    virtual void set_timestamp() = 0;
    /// Set the first min(rank, lengths.size()) lengths; the others stay. Reports 0x1, once. NaN always
    /// counts as a change.
    virtual void set_lengths(std::vector<double> const& lengths) = 0;
    /// As set_lengths(), for the offsets. Reports 0x1.
    /// \note Deliberate: set_offset() reports 0x4 for the same change.
    virtual void set_offsets(std::vector<double> const& offsets) = 0;
    /// Set the first min(rank, labels.size()) labels; the others stay. Reports 0x2, once.
    virtual void set_labels(std::vector<std::string> const& labels) = 0;
    /// Stores nothing, and reports 0x80 at every call.
    virtual void set_stack_position(StackPosition const& position) = 0;
    /// Label the columns. Reports 0x1; an empty vector clears the labels and reports nothing.
    /// \throws std::invalid_argument "Wrong number of labels." unless there is one per column.
    virtual void set_col_labels(std::size_t axis, std::vector<std::string> const& labels) = 0;
    /// Give the columns explicit positions, which ends equidistance; an empty vector restores it. Reports
    /// (axis << 16) | 1, for a change of the values alone.
    /// \throws std::invalid_argument "Wrong number of positions." unless there is one per column.
    virtual void set_col_positions(std::size_t axis, std::vector<double> const& positions) = 0;
    /// Give the columns positions in a plane, or none. Reports (axis << 16) | 1. Equidistance stays as it
    /// is.
    /// \throws std::invalid_argument "Wrong number of positions." unless there is one per column.
    virtual void set_xy_col_positions(std::size_t axis,
                                      std::vector<std::pair<double, double>> const& positions) = 0;
    /// Reports 0x1. NaN always counts as a change.
    virtual void set_length(std::size_t axis, double length) = 0;
    /// Reports 0x4. NaN always counts as a change.
    virtual void set_offset(std::size_t axis, double offset) = 0;
    /// Reports 0x2.
    virtual void set_label(std::size_t axis, std::string const& label) = 0;
    /// Reports 0x1.
    virtual void set_units(std::size_t axis, Vexa::units::RuntimeValue const& units) = 0;
    /// Reports 0x4.
    virtual void set_data_units(Vexa::units::RuntimeValue const& units) = 0;
    /// Set or replace a tag. Reports nothing and passes the lock.
    virtual void set_tag(std::string const& key, Tag const& value) = 0;
    using GetStackInfoInterface::tag;
    /// The tag's value, for changing. A key that is not there gets an empty VProp. Reports nothing and
    /// passes the lock. Lives as long as the stack.
    virtual Tag& tag(std::string const& key) = 0;
    /// Collect reports until the matching end_defer_info_update_signals(). Calls nest.
    virtual void beg_defer_info_update_signals() = 0;
    /// End one beg_defer_info_update_signals(); the outermost one reports all collected bits at once, and a
    /// listener may change the description meanwhile, or defer changes of its own. Does nothing without a
    /// beginning. The argument is ignored.
    virtual void end_defer_info_update_signals(bool ignored) = 0;
    /// Tags apart from tag(), for several threads; neither copied with the description nor stored in
    /// files. Taking this reference is safe from any thread.
    virtual SafeTags& safe_tags() = 0;
};

} // namespace Vexa::arrays
