#include <vexa/arrays/StackImp.h>

#include <new>
#include <stdexcept>
#include <utility>

#include <vexa/arrays/Array.h>
#include <vexa/arrays/StackView.h>
#include <vexa/foundation/types.h>

namespace Vexa::arrays {

struct StackImp::Signals {
    callback::Generator<Ignore_Result(StackInterface*, Slice const&), callback::Dispatcher> data_changed;
    callback::Generator<Ignore_Result(StackInterface*, unsigned int), callback::Dispatcher> info_changed;
};

StackInterface::~StackInterface() = default;

std::shared_ptr<Array> allocate_data(StackInfoInterface const& info) {
    std::size_t const n = info.number_of_elements();
    std::size_t const element_size = vexa_dt_get_size(info.type());
    if (n != 0 && element_size == 0) throw std::runtime_error("Unknown type of elements.");
    std::size_t bytes = 0;
    if (__builtin_mul_overflow(n, element_size, &bytes))
        throw std::runtime_error("Invalid stack size: Larger than the addressable memory.");
    try {
        return std::make_shared<Array>(bytes);
    } catch (std::bad_alloc const&) {
        throw std::runtime_error("Out of memory.");
    }
}

StackImp::StackImp(int type, std::vector<std::size_t> const& shape, std::shared_ptr<Array> data)
    : StackInfoImp(type, shape), array_(std::move(data)), signals_(std::make_unique<Signals>()) {
    if (!array_) throw std::invalid_argument("Cannot create stack: No data specified.");
}

StackImp::StackImp(int type, std::vector<std::size_t> const& shape)
    : StackInfoImp(type, shape), array_(allocate_data(*this)), signals_(std::make_unique<Signals>()) {}

StackImp::StackImp(StackInfoInterface const& info, int type)
    : StackInfoImp(info, type), array_(allocate_data(*this)), signals_(std::make_unique<Signals>()) {}

StackImp::StackImp(StackInfoImp&& info)
    : StackInfoImp(std::move(info)), array_(allocate_data(*this)), signals_(std::make_unique<Signals>()) {}

StackImp::~StackImp() = default;

void* StackImp::get_data_ptr() { return array_->data(); }

void const* StackImp::get_data_ptr() const { return std::as_const(*array_).data(); }

bool StackImp::is_shared() const { return array_->is_shared(); }

char const* StackImp::share() const { return array_->share(); }

std::shared_ptr<Array> StackImp::data() { return array_; }

void StackImp::signal_data_changed(Slice const& slice) { signals_->data_changed(this, slice); }

void StackImp::connect_data_changed_cb(Data_Changed callback, callback::Token token) {
    signals_->data_changed.connect(std::move(callback), token);
}

void StackImp::connect_info_changed_cb(Info_Changed callback, callback::Token token) {
    signals_->info_changed.connect(std::move(callback), token);
}

void StackImp::signal_info_changed(unsigned int mask) { signals_->info_changed(this, mask); }

StackView::StackView(std::shared_ptr<StackInterface> stack)
    : Region(stack ? stack->shape() : std::vector<std::size_t>()), stack_(std::move(stack)) {
    if (!stack_) throw std::invalid_argument("Cannot create view: No stack specified.");
}

StackView::StackView(std::shared_ptr<StackInterface> stack, Region const& region)
    : Region(region), stack_(std::move(stack)) {
    if (!stack_) throw std::invalid_argument("Cannot create view: No stack specified.");
}

} // namespace Vexa::arrays
