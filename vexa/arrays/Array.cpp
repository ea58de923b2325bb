#include <vexa/arrays/Array.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>

#include <vexa/foundation/uuid_internal.h>

namespace Vexa {

namespace ipc = boost::interprocess;

namespace {

constexpr int owner_writes_all_read = 0644;

/// Map the whole object, in the size that it has now.
ipc::mapped_region map_whole(ipc::shared_memory_object const& object) {
    ipc::offset_t size = 0;
    if (object.get_size(size) && size == 0) return {};
    return ipc::mapped_region(object, ipc::read_write);
}

} // namespace

Shared_Memory_Object::Shared_Memory_Object(create_new)
    : shared_memory_object(ipc::create_only, random_uuid().c_str(), ipc::read_write,
                           ipc::permissions(owner_writes_all_read)),
      owner_(true) {}

// The delegation comes first, so that the destructor removes the name if the object cannot get its size.
Shared_Memory_Object::Shared_Memory_Object(std::size_t size) : Shared_Memory_Object(create_new{}) {
    // A new object has size 0, and allocating no bytes is an error of its own.
    if (size != 0) allocate(size);
}

Shared_Memory_Object::Shared_Memory_Object(std::string const& name)
    : shared_memory_object(ipc::open_only, name.c_str(), ipc::read_write) {}

/// Reserve the memory rather than only set the size: a write to memory that the system cannot provide would
/// end the process.
void Shared_Memory_Object::allocate(std::size_t size) {
    int const descriptor = get_mapping_handle().handle;
    auto const length = static_cast<off_t>(size);
    int error = EINTR;
    while (error == EINTR) error = ::posix_fallocate(descriptor, 0, length);
    if (error == EOPNOTSUPP) {
        error = EINTR;
        while (error == EINTR) error = ::ftruncate(descriptor, length) == 0 ? 0 : errno;
    }
    if (error != 0) throw ipc::interprocess_exception(ipc::error_info(error));
}

Shared_Memory_Object::~Shared_Memory_Object() {
    if (owner_) shared_memory_object::remove(get_name());
}

Shared_Memory::Shared_Memory(std::size_t size) : Shared_Memory_Object(size), region_(map_whole(*this)) {}

Shared_Memory::Shared_Memory(std::string const& name)
    : Shared_Memory_Object(name), region_(map_whole(*this)) {}

Array::Array(std::size_t size) : local_(std::make_unique<std::vector<char>>(size)) {}

Array::Array(std::string const& name) : shared_(std::make_unique<Shared_Memory>(name)) {}

Array::~Array() = default;

std::size_t Array::size() const { return local_ ? local_->size() : shared_->size(); }

char* Array::data() {
    if (size() == 0) return nullptr;
    return local_ ? local_->data() : shared_->data();
}

char const* Array::data() const { return const_cast<Array&>(*this).data(); }

bool Array::is_shared() const { return shared_ != nullptr; }

char const* Array::share() {
    std::lock_guard<std::mutex> const lock(mutex_);
    if (local_) {
        auto shared = std::make_unique<Shared_Memory>(local_->size());
        std::copy(local_->begin(), local_->end(), shared->data());
        shared_ = std::move(shared);
        local_.reset();
    }
    return shared_->get_name();
}

std::string test_shared_memory() try {
    constexpr std::size_t size = 100;
    Shared_Memory const created(size);
    std::fill_n(created.data(), size, char{1});
    Shared_Memory const opened(std::string(created.get_name()));
    return {};
} catch (std::exception const& error) {
    return error.what();
}

} // namespace Vexa
