#include <vexa/arrays/Object.h>

#include <map>
#include <mutex>
#include <stdexcept>

#include <vexa/foundation/uuid_internal.h>

namespace Vexa {

namespace {

std::mutex g_object_mtx;
std::map<std::string, std::shared_ptr<Object>> g_objects; ///< guarded by g_object_mtx

} // namespace

Object::Object() : id(random_uuid()) {}

Object::~Object() = default;

void register_object(std::shared_ptr<Object> object) {
    if (!object) throw std::invalid_argument("Cannot register a null object.");
    std::lock_guard<std::mutex> const lock(g_object_mtx);
    g_objects.try_emplace(object->id, object);
}

std::shared_ptr<Object> find_object(std::string const& id) {
    std::lock_guard<std::mutex> const lock(g_object_mtx);
    auto const found = g_objects.find(id);
    return found == g_objects.end() ? nullptr : found->second;
}

} // namespace Vexa
