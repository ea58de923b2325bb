#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <vexa/foundation/export.h>
#include <vexa/ome/Annotation.h>
#include <vexa/ome/Image.h>
#include <vexa/ome/Image_Layout.h>

namespace OME {

/// The sub-dimensions by which the axes Z, C and T of an image are divided, as the community of the schema
/// writes them down.
///
/// The number of steps of a sub-dimension is (End - Start) / Step, rounded, plus 1; without a start or an end
/// it is 1. The image has a copy of these numbers: after a change by the functions below, call its adjust().
class VEXA_API Image::Modulo : public Annotation {
public:
    using Type = Image_Modulo_Type;

    /// The values along a sub-dimension, from \p start to \p end, in \p unit, which may be empty.
    struct VEXA_API Range {
        double start = 0;
        double step = 1;
        double end = 0;
        std::string unit{};

        /// The number of values, at least 1; empty if there is no such number.
        std::optional<std::uint64_t> count() const;
        /// The same range with that many values.
        Range with_count(std::uint64_t count) const;
        bool operator==(Range const&) const = default;
    };

    /// How one axis is divided.
    class VEXA_API Along : public Element<Object_of_Documents> {
    public:
        Along(JSON::Proxy& parent, Position position);

        Document<std::string, JSON::Enum<Type>> type{*this, "Type"};
        Document<std::string> type_description{*this, "TypeDescription"};
        Document<JSON::Number> start{*this, "Start"};
        Document<JSON::Number, JSON::Default<1>> step{*this, "Step"};
        Document<JSON::Number> end{*this, "End"};
        Document<std::string> unit{*this, "Unit"};
    };

    static std::string_view namespace_text() { return STANDARD_MODULO_NAMESPACE; }
    Modulo(JSON::Proxy& parent, Position position);

    bool has_z() const { return has(Image_Layout::Z); }
    bool has_c() const { return has(Image_Layout::C); }
    bool has_t() const { return has(Image_Layout::T); }

    /// Empty if there is none.
    /// \throws std::bad_variant_access for a type without a name
    std::optional<Type> type_z() const { return type(Image_Layout::Z); }
    std::optional<Type> type_c() const { return type(Image_Layout::C); }
    std::optional<Type> type_t() const { return type(Image_Layout::T); }

    /// Empty if there is no start or no end.
    /// \throws Invalid_Data "Invalid step modulo Z." (C, T) if the step is 0 or not finite
    std::optional<Range> range_z() const { return range(Image_Layout::Z); }
    std::optional<Range> range_c() const { return range(Image_Layout::C); }
    std::optional<Range> range_t() const { return range(Image_Layout::T); }
    /// The range of the first axis that is divided by this type; empty if there is none.
    std::optional<Range> range(Type type) const;

    /// Store the type and the range, which ends at its last full step. An empty unit leaves that which is
    /// there.
    /// \throws Invalid_Argument "Unsupported modulo type {}."
    /// \throws Invalid_Data "Invalid step modulo Z." or, if the number of steps is no number, "Invalid range
    /// modulo Z.", before anything changes
    void set_range_z(Type type, Range const& range) { set_range(Image_Layout::Z, type, range); }
    void set_range_c(Type type, Range const& range) { set_range(Image_Layout::C, type, range); }
    void set_range_t(Type type, Range const& range) { set_range(Image_Layout::T, type, range); }
    /// The same for the axis that is divided by this type.
    /// \throws Invalid_Argument "No modulo of type {}."
    void set_range(Type type, Range const& range);

    /// Let the range have \p count values: set its end to the start, which is 0 if there is none, plus
    /// \p count - 1 steps.
    /// \throws Invalid_Data as set_range_z()
    void set_end_z(std::uint64_t count) { set_end(Image_Layout::Z, count); }
    void set_end_c(std::uint64_t count) { set_end(Image_Layout::C, count); }
    void set_end_t(std::uint64_t count) { set_end(Image_Layout::T, count); }

    /// Make the range longer by one step. An axis that isn't divided has one step already, and is divided
    /// into two from 0 to 1.
    /// \throws Invalid_Argument "Modulo along Z already has type {}." (C, T) or "Unsupported modulo type {}."
    void add_z(Type type) { add(Image_Layout::Z, type); }
    void add_c(Type type) { add(Image_Layout::C, type); }
    void add_t(Type type) { add(Image_Layout::T, type); }

    /// The same by the axis.
    using Axis = Image_Layout::Axis;
    bool has(Axis axis) const { return static_cast<bool>(along(axis)); }
    std::optional<Type> type(Axis axis) const { return enumerator_in<Type>(along(axis).type); }
    std::optional<Range> range(Axis axis) const;
    /// The number of steps, which is 1 without a range.
    /// \throws Invalid_Data "Invalid step modulo Z.", "Invalid range modulo Z."
    std::uint64_t count(Axis axis) const;
    void set_range(Axis axis, Type type, Range const& range);
    void set_end(Axis axis, std::uint64_t count);
    void add(Axis axis, Type type);
    /// \throws Invalid_Argument as add_z()
    void demand_addable(Axis axis, Type type) const;

    /// All fields of an axis.
    One_of<Along>& along(Axis axis);
    One_of<Along> const& along(Axis axis) const { return const_cast<Modulo*>(this)->along(axis); }

private:
    std::optional<Axis> axis_of(Type type) const;

    One_of<Element<Object_of_Documents>> modulo_{contents(), "Modulo"};
    Document<std::string> modulo_namespace_{modulo_.element(), "namespace"};
    One_of<Along> along_z_{modulo_.content, "ModuloAlongZ"};
    One_of<Along> along_c_{modulo_.content, "ModuloAlongC"};
    One_of<Along> along_t_{modulo_.content, "ModuloAlongT"};
};

extern template class Document<JSON::Number, JSON::Default<1>>;
extern template class Document<std::string, JSON::Enum<Image_Modulo_Type>>;
extern template class One_of<Image::Modulo::Along>;

} // namespace OME
