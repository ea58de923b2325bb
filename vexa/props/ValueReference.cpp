#include <vexa/props/ValueReference.h>

#include <vexa/props/type_list_internal.h>

namespace Vexa::props {

ValueReference::ValueReference(void* value, int code, std::shared_ptr<VPropInfo> observer) {
    if (value)
        with_value_type(code, [&]<typename T>(std::type_identity<T>) {
            content = content_ptr(static_cast<T*>(value));
            ++content->use_count;
        });
    info = std::move(observer);
}

} // namespace Vexa::props
