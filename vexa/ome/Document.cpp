#include <vexa/ome/Document.h>

#include <charconv>
#include <variant>

#include <vexa/json/Reader.h>
#include <vexa/json/Writer.h>

namespace OME {

namespace {

/// The whole text as a number.
template <typename T>
T number_from(std::string const& text) {
    T number{};
    char const* const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) throw std::bad_variant_access();
    return number;
}

} // namespace

void detail::read_integer(JSON::Value& value) {
    if (std::string const* text = value.get_if<std::string>())
        value = JSON::Value(JSON::Number(number_from<long long>(*text)));
}

void detail::read_boolean(JSON::Value& value) {
    std::string const* text = value.get_if<std::string>();
    if (!text) return;
    bool const truth = *text == "true";
    if (!truth && *text != "false") throw std::bad_variant_access();
    value = JSON::Value(JSON::Boolean(truth));
}

void detail::read_real(JSON::Value& value) {
    if (std::string const* text = value.get_if<std::string>())
        value = JSON::Value(JSON::Number(number_from<double>(*text)));
}

std::optional<long long> integer_in(JSON::Proxy const& document) {
    JSON::Value const* value = document.value();
    return value ? JSON::Value_Cast<long long, 0>::to_if(*value) : std::nullopt;
}

std::optional<double> real_in(JSON::Proxy const& document) {
    JSON::Value const* value = document.value();
    return value ? JSON::Value_Cast<double, 0>::to_if(*value) : std::nullopt;
}

void store_real(double number, JSON::Proxy& document) {
    // The check of a document of numbers would refuse the strings.
    document.JSON::Proxy::set(JSON::Value(number));
}

JSON::Value JSON_in(Document<std::string> const& text) {
    JSON::Value const* value = text.value();
    std::string const* held = value ? value->get_if<std::string>() : nullptr;
    return held ? JSON::parse(*held) : JSON::Value();
}

void store_JSON(JSON::Value const& value, Document<std::string>& text) { text.set(JSON::dump(value, false)); }

template class Document<std::string>;
template class Document<JSON::Number>;
template class Document<double>;
template class Document<long long>;
template class Document<JSON::Boolean>;
template class Document<JSON::Boolean, JSON::Default<false>>;
template class Document<std::string, JSON::Enum<Length>>;
template class Document<std::string, JSON::Enum<Length>, JSON::Default<Length::nm>>;
template class Document<std::string, JSON::Enum<Length>, JSON::Default<Length::um>>;
template class Document<std::string, JSON::Enum<Length>, JSON::Default<Length::reference_frame>>;
template class Document<std::string, JSON::Enum<Time>>;
template class Document<std::string, JSON::Enum<Time>, JSON::Default<Time::s>>;
template class Document<std::string, JSON::Enum<Frequency>>;
template class Document<std::string, JSON::Enum<Frequency>, JSON::Default<Frequency::Hz>>;
template class Document<std::string, JSON::Enum<Angle>>;

} // namespace OME
