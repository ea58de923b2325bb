#pragma once

#include <string>
#include <vector>

#include <vexa/foundation/export.h>

/// What all arrays of properties have in common: free bits and a shape. The elements stand in one flat
/// sequence with the first dimension running fastest: element (i0, i1, i2) of shape (s0, s1, s2) has the flat
/// index i0 + s0*i1 + s0*s1*i2.
///
/// A shape is a vector with one extent for each dimension. An array that stores none has the default shape, a
/// single row: (1, n), or (0, 0) without elements. The stored shape may go stale when elements come and go;
/// get_size(true) says what then holds.
///
/// Failures: std::runtime_error. Functions with an argument `std::string* err` report by one rule: null means
/// throw, the value (std::string*)1 means ignore, anything else means store the text there and go on.
/// Threads: none of its own; see VProp.
class VEXA_API VProparrayBase {
public:
    /// What set_size() does with the elements when the new shape has another number of them.
    enum set_mode {
        shape_only = 0,    ///< store the shape, which then no longer fits
        shape_checked = 1, ///< throw
        resize_keep = 2,   ///< resize; what survives keeps its flat index
        resize_clear = 3,  ///< resize and reset all
        reshape_keep = 4   ///< as resize_keep, but only if the current shape is valid
    };

    /// An extent or position that is not given, and the flat index of a failed look-up.
    static constexpr unsigned long none = ~0ul;
    /// The number of elements up to which get_idx() lets an array grow.
    static constexpr unsigned long largest_grown_count = 1ul << 26;

    VProparrayBase() = default;
    VProparrayBase(VProparrayBase const&) = default;
    VProparrayBase(VProparrayBase&&) = default;
    VProparrayBase& operator=(VProparrayBase const&) = default;
    VProparrayBase& operator=(VProparrayBase&&) = default;
    virtual ~VProparrayBase();

    /// The number of elements.
    virtual unsigned long size() const = 0;
    /// Change the number of elements and leave the shape.
    /// \param clear reset all elements; otherwise the
    /// first ones survive and new ones have their default value.
    /// \throws std::runtime_error "Property array of {} elements is too large."
    virtual void resize(unsigned long n, bool clear) = 0;

    /// The product of the extents; 0 for an empty vector. A product beyond 64 bits gives all ones, a number
    /// of elements that no array has.
    static unsigned long size(std::vector<unsigned long> const& v);
    /// The first \p n entries at \p p.
    static std::vector<unsigned long> ptr2size(unsigned long n, unsigned long const* p);
    static std::vector<unsigned long> ptr2pos(unsigned long n, unsigned long const* p);
    /// The shape of up to four extents; `none` ends the list. A single extent gives a row.
    static std::vector<unsigned long> val2size(unsigned long a, unsigned long b = none,
                                               unsigned long c = none, unsigned long d = none);
    /// The position of up to four indices; `none` ends the list. A single index is one in a row.
    static std::vector<unsigned long> val2pos(unsigned long a, unsigned long b = none, unsigned long c = none,
                                              unsigned long d = none);

    /// The shape. With \p check it is one that fits the elements: a stale row, empty or one-dimensional shape
    /// is read as what fits.
    /// \throws std::runtime_error "Invalid size vector in property array." with \p check for any other shape
    /// that does not fit.
    std::vector<unsigned long> get_size(bool check) const;

    /// The position of a flat index. The last entry is not compared with the shape.
    /// \note Deliberate: an array without a stored shape gives (1, index), or (0, 0) for index 0.
    /// \throws std::runtime_error as get_size(true); reports "Invalid size entry in VProparrayBase."
    std::vector<unsigned long> get_pos(unsigned long index, std::string* err) const;

    /// The flat index of a position, or `none` after a failure. With \p grow an array with elements is made
    /// longer along its last dimension to take in the position, and one without along all dimensions. Nothing
    /// changes on failure.
    /// \note Deliberate: the messages on ranks name the rank of the array first.
    /// \throws std::runtime_error as get_size(true); reports "Input rank '{}' too low (< '{}').",
    /// "Input rank '{}' too high (> '{}').", "Index {} out of bounds. ({} >= {})" and
    /// "Property array of {} elements is too large." beyond largest_grown_count
    unsigned long get_idx(std::vector<unsigned long> const& pos, bool grow, std::string* err);
    unsigned long get_idx(std::vector<unsigned long> const& pos, std::string* err) const;

    /// Store a shape; \p mode says what becomes of the elements. An empty shape (but for resize_keep and
    /// resize_clear, which then remove all elements) restores the default shape without any check.
    /// \throws std::runtime_error "Invalid array shape: Size does not match number of elements." for
    /// shape_checked; as get_size(true) for reshape_keep
    void set_size(std::vector<unsigned long> const& size, set_mode mode);
    void set_size(unsigned long a, unsigned long b, unsigned long c, unsigned long d, set_mode mode);

    /// Free for the users of the array. Bit 0 is set on string arrays by the XML writer.
    unsigned long userbits = 0;
    /// The stored shape; empty for the default one.
    std::vector<unsigned long> size_vector;

protected:
    static void check_count(unsigned long n, unsigned long most);

private:
    unsigned long locate(std::vector<unsigned long> const& pos, std::vector<unsigned long>& s, bool grow,
                         bool& grown, std::string* err) const;
};

/// An array of T: numbers, booleans, VProp (a cell array), VPropstruct or VPropstring.
template <typename T>
class VEXA_API VProparray : public VProparrayBase, public std::vector<T> {
public:
    using std::vector<T>::vector;
    using std::vector<T>::resize;
    using VProparrayBase::size;

    VProparray() = default;

    unsigned long size() const override { return std::vector<T>::size(); }

    void resize(unsigned long n, bool clear) override {
        check_count(n, this->max_size());
        if (clear)
            std::vector<T>(n).swap(*this);
        else
            std::vector<T>::resize(n);
    }
};
