#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include <vexa/arrays/Region.h>
#include <vexa/arrays/StackInfoImp.h>
#include <vexa/foundation/Function.h>
#include <vexa/foundation/export.h>

namespace Vexa {

class Array;

namespace arrays {

/// A stack with its samples in memory: a description, a block of bytes, and listeners to changes of both.
///
/// Axes: axis 0 varies fastest in the block, with no gaps.
/// Threads: one at a time, but for what Array and callback::Generator allow. Who writes samples while
/// another thread reads them takes care of that alone.
class VEXA_API StackInterface : public virtual StackInfoInterface {
public:
    using Data_Changed = std::function<Ignore_Result(StackInterface*, Slice const&)>;
    using Info_Changed = std::function<Ignore_Result(StackInterface*, unsigned int)>;

    ~StackInterface() override;

    /// The first sample; null for an empty block. Valid until share() moves the block.
    virtual void* get_data_ptr() = 0;
    virtual void const* get_data_ptr() const = 0;
    /// Whether the block is in shared memory.
    virtual bool is_shared() const = 0;
    /// Move the block into shared memory; see Array::share().
    /// \return the name that opens it there
    virtual char const* share() const = 0;
    /// The block, which outlives the stack as long as somebody holds it.
    virtual std::shared_ptr<Array> data() = 0;
    /// Tell the listeners that samples changed.
    /// \param slice which ones
    virtual void signal_data_changed(Slice const& slice) = 0;
    /// Subscribe to signal_data_changed(), for as long as the token lives somewhere.
    /// \throws std::invalid_argument "Cannot subscribe an empty function."
    virtual void connect_data_changed_cb(Data_Changed callback, callback::Token token) = 0;
    /// Subscribe to changes of the description: the callback gets the mask that the setters report.
    /// \throws std::invalid_argument "Cannot subscribe an empty function."
    virtual void connect_info_changed_cb(Info_Changed callback, callback::Token token) = 0;
};

/// Make the block for the samples of a stack, all zero.
/// \throws std::runtime_error "Unknown type of elements." for samples of a type without a size; an empty
/// stack may have any type
/// \throws std::runtime_error "Invalid stack size: Larger than the addressable memory."
/// \throws std::runtime_error "Out of memory."
/// \throws std::length_error "cannot create std::vector larger than max_size()" from 2^63 bytes on
VEXA_API std::shared_ptr<Array> allocate_data(StackInfoInterface const& info);

/// The memory stack.
///
/// Owns: the description, a share of the block, the subscriptions.
class VEXA_API StackImp : public StackInterface, public StackInfoImp {
public:
    /// Use a block that is there. Its size is the caller's business: it is not compared with the shape.
    /// \throws std::invalid_argument "Cannot create stack: No data specified." for a null pointer
    StackImp(int type, std::vector<std::size_t> const& shape, std::shared_ptr<Array> data);
    /// A new block, all zero, as from allocate_data(); so in the constructors below.
    StackImp(int type, std::vector<std::size_t> const& shape);
    /// Copy the description.
    /// \param type 0 takes the type of \p info
    StackImp(StackInfoInterface const& info, int type);
    explicit StackImp(StackInfoImp&& info);
    ~StackImp() override;

    void* get_data_ptr() override;
    void const* get_data_ptr() const override;
    bool is_shared() const override;
    char const* share() const override;
    std::shared_ptr<Array> data() override;
    void signal_data_changed(Slice const& slice) override;
    void connect_data_changed_cb(Data_Changed callback, callback::Token token) override;
    void connect_info_changed_cb(Info_Changed callback, callback::Token token) override;

    void signal_info_changed(unsigned int mask) override;

private:
    struct Signals;

    std::shared_ptr<Array> array_;
    std::unique_ptr<Signals> signals_; ///< below the block, so that it goes first
};

} // namespace arrays
} // namespace Vexa
