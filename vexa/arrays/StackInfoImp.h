#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <vexa/arrays/StackInfoInterface.h>
#include <vexa/foundation/export.h>

namespace Vexa::arrays {

class Region;

namespace detail {

/// The number of samples of a shape; 0 for rank 0.
/// \throws std::runtime_error "The product exceeds the maximum size." A 0 that comes before the product
/// outgrows 64 bits ends the multiplication; one that comes later is not seen.
VEXA_API std::size_t get_product(std::vector<std::size_t> const& shape);

} // namespace detail

/// The one implementation of the description of a stack, in memory and in files.
///
/// Owns: all of its values. Invariants: every per-axis vector has one entry per axis.
/// Threads: one at a time; safe_tags() alone may be used by several.
///
/// For derived stacks: the fields are protected, and writing them passes the lock and reports nothing.
/// This is how a file fills a description and how a stack in a file locks it (`locked_`). set_shape() and
/// set_last_axis() change the shape and keep the invariants.
class VEXA_API StackInfoImp : public virtual StackInfoInterface {
public:
    /// Each axis starts with its number of samples as length, the offset -0.5, evenly spaced, without
    /// label and unit.
    /// \throws std::runtime_error "The product exceeds the maximum size."
    StackInfoImp(int type, std::vector<std::size_t> const& shape);
    /// Copy a description, tags included, safe_tags() and the lock not.
    /// \param type the type of the copy; 0 takes the source's.
    StackInfoImp(StackInfoInterface const& source, int type);
    /// Describe what \p region shows of \p source, in the region's full shape.
    /// \param type 0 takes the source's.
    /// \throws what initialize() throws: the region has to be as large as its full shape.
    StackInfoImp(StackInfoInterface const& source, Region const& region, int type);
    /// Describe the stack that \p source_region of \p source is to be copied into, at \p
    /// destination_region. The shape is the full shape of the destination region.
    /// \param type 0 takes the source's.
    /// \throws what initialize() throws.
    StackInfoImp(StackInfoInterface const& source, Region const& source_region,
                 Region const& destination_region, int type);
    StackInfoImp(StackInfoImp&& other);
    StackInfoImp& operator=(StackInfoImp&&) = delete;
    ~StackInfoImp() override;

    /// Take the timestamp, data units and per-axis values of a region of \p source: columns and offsets
    /// move, lengths shrink or grow with what the region covers. Name, description, tags and type are not
    /// touched.
    /// \param destination_region what part of this stack is described; null for all of it.
    /// \note Deliberate: the offset of an axis that starts inside a permuted destination region is moved by
    /// the pixel size that this stack has on the axis numbered as the source's.
    /// \throws std::runtime_error "Cannot transform meta-data: Source and destination slice shapes do not
    /// match."
    /// \throws std::invalid_argument "Invalid axis specified." or "Invalid pixel position." for a region
    /// that does not lie in its stack.
    void initialize(StackInfoInterface const& source, Region const& source_region,
                    Region const* destination_region);

    std::vector<std::size_t> const& shape() const override;
    std::size_t number_of_elements() const override;
    int type() const override;
    std::string const& name() const override;
    std::string const& description() const override;
    Timestamp timestamp() const override;
    std::vector<double> const& lengths() const override;
    std::vector<double> const& offsets() const override;
    std::vector<std::string> const& labels() const override;
    std::vector<std::string> const& col_labels(std::size_t axis) const override;
    std::vector<double> const& col_positions(std::size_t axis) const override;
    double col_position(std::size_t axis, std::size_t index) const override;
    std::vector<std::pair<double, double>> const& xy_col_positions(std::size_t axis) const override;
    bool is_equidistant(std::size_t axis) const override;
    StackPosition const& stack_position() const override;
    double length(std::size_t axis) const override;
    double offset(std::size_t axis) const override;
    std::string const& label(std::size_t axis) const override;
    Vexa::units::RuntimeValue const& units(std::size_t axis) const override;
    Vexa::units::RuntimeValue const& data_units() const override;
    std::vector<std::string> tag_keys() const override;
    Tag const& tag(std::string const& key) const override;

    void set_name(std::string const& name) override;
    void set_description(std::string const& description) override;
    void set_timestamp(Timestamp timestamp) override;
    void set_timestamp() override;
    void set_lengths(std::vector<double> const& lengths) override;
    void set_offsets(std::vector<double> const& offsets) override;
    void set_labels(std::vector<std::string> const& labels) override;
    void set_stack_position(StackPosition const& position) override;
    void set_col_labels(std::size_t axis, std::vector<std::string> const& labels) override;
    void set_col_positions(std::size_t axis, std::vector<double> const& positions) override;
    void set_xy_col_positions(std::size_t axis,
                              std::vector<std::pair<double, double>> const& positions) override;
    void set_length(std::size_t axis, double length) override;
    void set_offset(std::size_t axis, double offset) override;
    void set_label(std::size_t axis, std::string const& label) override;
    void set_units(std::size_t axis, Vexa::units::RuntimeValue const& units) override;
    void set_data_units(Vexa::units::RuntimeValue const& units) override;
    void set_tag(std::string const& key, Tag const& value) override;
    Tag& tag(std::string const& key) override;
    void beg_defer_info_update_signals() override;
    void end_defer_info_update_signals(bool ignored) override;
    SafeTags& safe_tags() override;

    /// Tell the listeners what changed. Does nothing here; a stack with listeners overrides it. An
    /// exception passes through the setter, whose change stands.
    virtual void signal_info_changed(unsigned int mask);

    /// \throws std::invalid_argument "Invalid axis specified."
    void throw_if_invalid_axis(std::size_t axis) const;
    /// \throws std::runtime_error "Cannot set values: Object locked."
    void throw_if_locked() const;
    /// Call signal_info_changed(), or collect the mask while signals are deferred.
    void on_info_changed(unsigned int mask);

protected:
    /// Change shape and rank, whether locked or not, without a report. Axes that stay keep their values;
    /// a new axis has the length 1.0 and else starts as in a new description.
    /// \throws std::runtime_error "The product exceeds the maximum size.", with nothing changed.
    void set_shape(std::vector<std::size_t> const& shape);
    /// Change the size and the length of the last axis, whether locked or not: a stack of variable size
    /// grows after its description was locked. Reports 0x1 for a new length. Does nothing at rank 0.
    /// \throws std::runtime_error "The product exceeds the maximum size.", with nothing changed.
    void set_last_axis(std::size_t size, double length);

    /// What an axis says of each of its samples. The axis may have changed its size since: a vector of another
    /// size isn't stored, and one of positions is dropped by its getter.
    struct Columns {
        mutable std::vector<double> positions; ///< explicit ones; also the cache of generated ones
        mutable std::vector<std::pair<double, double>> xy_positions;
        std::vector<std::string> labels;
        bool equidistant = true; ///< the positions are generated
    };

    // One entry per axis.
    std::vector<Columns> columns_;
    std::vector<double> lengths_;
    std::vector<double> offsets_;
    std::vector<std::string> labels_;
    mutable std::vector<Vexa::units::RuntimeValue> units_; ///< as stored; units() may complete them

    Vexa::units::RuntimeValue data_units_;
    StackPosition stack_position_;
    std::string name_;
    std::string description_;
    bool locked_ = false; ///< refuses every change by a setter
    int type_;
    std::vector<std::size_t> shape_;
    std::size_t number_of_elements_ = 0; ///< always the product of shape_
    Timestamp timestamp_{};
    std::map<std::string, Tag> tags_;

private:
    std::size_t checked_axis(std::size_t axis) const;
    void initialize_axis(std::size_t axis, StackInfoInterface const& source, Region const& source_region,
                         Region const* destination_region);

    int defer_count_ = 0;
    unsigned int deferred_changes_ = 0;
    SafeTags safe_tag_map_;
};

} // namespace Vexa::arrays
