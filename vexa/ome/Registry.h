#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string_view>
#include <tuple>
#include <type_traits>

#include <vexa/foundation/export.h>

namespace OME {

class VEXA_API Project;
class VEXA_API Dye;
class VEXA_API Band;
class VEXA_API Dataset;
class VEXA_API Folder;
class VEXA_API Instrument;
class VEXA_API Light_Source;
class VEXA_API Detector;
class VEXA_API Objective;
class VEXA_API Filter;
class VEXA_API Image;
class VEXA_API Pixels; ///< stands for the pixels of an image, where it is Image::Pixels
class VEXA_API Channel;
class VEXA_API Shape;
class VEXA_API ROI;
class VEXA_API Annotation;

/// The word in front of the colon in an identifier of the type.
template <typename E>
inline constexpr std::string_view ID_word{};
template <>
inline constexpr std::string_view ID_word<Project>{"Project"};
template <>
inline constexpr std::string_view ID_word<Dye>{"Dye"};
template <>
inline constexpr std::string_view ID_word<Band>{"Band"};
template <>
inline constexpr std::string_view ID_word<Dataset>{"Dataset"};
template <>
inline constexpr std::string_view ID_word<Folder>{"Folder"};
template <>
inline constexpr std::string_view ID_word<Instrument>{"Instrument"};
template <>
inline constexpr std::string_view ID_word<Light_Source>{"LightSource"};
template <>
inline constexpr std::string_view ID_word<Detector>{"Detector"};
template <>
inline constexpr std::string_view ID_word<Objective>{"Objective"};
template <>
inline constexpr std::string_view ID_word<Filter>{"Filter"};
template <>
inline constexpr std::string_view ID_word<Image>{"Image"};
template <>
inline constexpr std::string_view ID_word<Pixels>{"Pixels"};
template <>
inline constexpr std::string_view ID_word<Channel>{"Channel"};
template <>
inline constexpr std::string_view ID_word<Shape>{"Shape"};
template <>
inline constexpr std::string_view ID_word<ROI>{"ROI"};
template <>
inline constexpr std::string_view ID_word<Annotation>{"Annotation"};

/// The numbers in the identifiers of one type that are now in the tree, one for each object that bears one,
/// whether it is the element itself or a reference to it. All operations but fresh() are logarithmic.
class VEXA_API Numbers {
public:
    void insert(int number) { numbers_.insert(number); }
    void erase_one(int number);
    std::size_t count(int number) const { return numbers_.count(number); }
    /// A number that nothing bears: the greatest one plus 1, or 1 if there is none; when the greatest is the
    /// greatest int, the least free one from 1 on.
    int fresh() const;
    std::multiset<int> const& all() const { return numbers_; }

    /// Counts the changes of the identifiers of elements, references left out. Tables of elements by their
    /// identifier hold as long as it stays.
    std::uint64_t changes() const { return changes_; }
    void set_changes(std::uint64_t changes) { changes_ = changes; }

private:
    std::multiset<int> numbers_;
    mutable int taken_below_ = 1; ///< all numbers from 1 up to this one, left out, are taken
    std::uint64_t changes_ = 0;
};

/// The numbers of each identified type.
class VEXA_API Registry {
    template <typename E>
    struct Slot : Numbers {};
    using Slots =
        std::tuple<Slot<Project>, Slot<Dye>, Slot<Band>, Slot<Dataset>, Slot<Folder>, Slot<Instrument>,
                   Slot<Light_Source>, Slot<Detector>, Slot<Objective>, Slot<Filter>, Slot<Image>,
                   Slot<Pixels>, Slot<Channel>, Slot<Shape>, Slot<ROI>, Slot<Annotation>>;

public:
    static constexpr std::size_t size = std::tuple_size_v<Slots>;
    /// Whether E is one of the identified types.
    template <typename E>
    static constexpr bool contains = !ID_word<E>.empty();

    template <typename E>
    Numbers& numbers() {
        return std::get<Slot<E>>(slots_);
    }
    template <typename E>
    Numbers const& numbers() const {
        return std::get<Slot<E>>(slots_);
    }

private:
    Slots slots_;
};

/// The type whose identifiers elements of type T bear. T may be incomplete: whatever has no identifiers of its
/// own is an annotation.
template <typename T>
using Identified =
    std::conditional_t<Registry::contains<std::remove_const_t<T>>, std::remove_const_t<T>, Annotation>;

} // namespace OME
