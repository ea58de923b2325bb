#include <vexa/foundation/Function.h>

namespace Vexa {

CallableExpired::~CallableExpired() = default;

char const* CallableExpired::what() const noexcept { return "The callable has expired."; }

Abstract_Function::~Abstract_Function() = default;

namespace callback {

TokenValue::~TokenValue() = default;

Token::Token() : value_(SharedPtrFactory<TokenValue>::make()) {}

} // namespace callback
} // namespace Vexa
