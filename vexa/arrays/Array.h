#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <boost/interprocess/mapped_region.hpp>
#include <boost/interprocess/shared_memory_object.hpp>

#include <vexa/foundation/export.h>

namespace Vexa {

/// A named shared memory object of the system, opened for reading and writing.
///
/// Owns: the descriptor, and if it created the object, the name: the object vanishes from the system with
/// its creator. Processes that have opened it keep their memory.
/// Failures: boost::interprocess::interprocess_exception with the text of the system's error.
class VEXA_API Shared_Memory_Object : public boost::interprocess::shared_memory_object {
public:
    /// Create an object of \p size bytes, zeroed, under a random name, which others may read.
    explicit Shared_Memory_Object(std::size_t size);
    /// Open an existing object.
    /// \param name with or without the "/" in front
    explicit Shared_Memory_Object(std::string const& name);
    Shared_Memory_Object(Shared_Memory_Object const&) = delete;
    Shared_Memory_Object& operator=(Shared_Memory_Object const&) = delete;
    ~Shared_Memory_Object();

private:
    struct create_new {};
    explicit Shared_Memory_Object(create_new);
    void allocate(std::size_t size);

    bool owner_ = false; ///< created the object, and removes its name at the end
};

/// A shared memory object, mapped as a whole for reading and writing. An object of size 0 is not mapped.
class VEXA_API Shared_Memory : public Shared_Memory_Object {
public:
    explicit Shared_Memory(std::size_t size);
    explicit Shared_Memory(std::string const& name);

    /// Null for size 0.
    char* data() const { return static_cast<char*>(region_.get_address()); }
    /// The size of the object when it was mapped, in bytes.
    std::size_t size() const { return region_.get_size(); }

private:
    boost::interprocess::mapped_region region_;
};

/// A block of bytes, in the memory of the process at first, and in named shared memory once share() was
/// called.
///
/// Owns: the bytes. An Array opened by name owns its view of them only: the name goes with the Array that
/// made it.
/// Threads: share() is safe against itself. data() and size() take no lock and must not run beside it.
class VEXA_API Array {
public:
    /// \p size bytes, all zero.
    /// \throws std::length_error "cannot create std::vector larger than max_size()", std::bad_alloc
    explicit Array(std::size_t size);
    /// Open a block that another Array, of this process or another, shares.
    /// \param name what share() returned there
    /// \throws boost::interprocess::interprocess_exception
    explicit Array(std::string const& name);
    Array(Array const&) = delete;
    Array& operator=(Array const&) = delete;
    ~Array();

    /// In bytes.
    std::size_t size() const;
    /// Null for size 0. Valid until share() moves the bytes.
    char* data();
    char const* data() const;
    bool is_shared() const;
    /// Move the bytes into a new shared memory object, unless they are in one. Pointers from data() end
    /// here.
    /// \return the name that opens it, which the system keeps with a "/" in front; valid as long as
    /// this object
    /// \throws boost::interprocess::interprocess_exception, and everything stays as it was
    char const* share();

private:
    // Exactly one of the two is set.
    std::unique_ptr<std::vector<char>> local_;
    std::unique_ptr<Shared_Memory> shared_;
    std::mutex mutex_; ///< taken by share() alone
};

/// Try out whether the system's shared memory works.
/// \return what went wrong; empty if nothing did
VEXA_API std::string test_shared_memory();

} // namespace Vexa
