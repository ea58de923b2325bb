#include <vexa/props/VPropXmlParser.h>

#include <stdexcept>

#include <fmt/format.h>

#include <vexa/props/ticpp_internal.h>
#include <vexa/props/type_list_internal.h>

namespace {

namespace types = Vexa::types;

constexpr int detect_form = 0;
constexpr int lvdata_form = 1;
constexpr int native_form = 2;

bool is_blank(std::string const& text) { return text.find_first_not_of(" \t\r\n") == text.npos; }

template <typename T>
T attribute_or(ticpp::Element const& element, char const* name, T value) {
    element.GetAttribute(name, value);
    return value;
}

[[noreturn]] void fail_type(std::string const& type) {
    throw std::runtime_error(fmt::format("Unknown type '{}' in xml string.", type));
}

/// The element with the top value, and the form that the document has.
struct Top {
    ticpp::Element element;
    int form;
};

Top find_top(ticpp::Document& document, int format) {
    ticpp::Element root = document.FirstChildElement();
    int const version = attribute_or(root, "vprop_version", -1);
    if (version > 1) throw std::runtime_error("Xml input of newer version than library.");
    if (version == 1 || !root.GetAttribute("xml_tb_version").empty()) return {std::move(root), native_form};
    if (ticpp::Element first = root.FirstChildElement();
        root.Value() == "LVData" && first && first.Value() == "Version") {
        ticpp::Element value = first.NextSiblingElement();
        if (!value) throw ticpp::Exception("Element 'LVData' has no value");
        return {std::move(value), lvdata_form};
    }
    if (format == detect_form) throw std::runtime_error("Could not determine xml format.");
    return {std::move(root), format};
}

template <typename T>
VProp joined_parts(VProparray<T> const& real, VProparray<T> const& imaginary) {
    VProparray<std::complex<T>> result;
    if (real.size() != imaginary.size())
        throw std::runtime_error("Invalid array shape: Size does not match number of elements.");
    result.reserve(real.size());
    for (std::size_t i = 0; i < real.size(); ++i) result.emplace_back(real[i], imaginary[i]);
    result.set_size(real.get_size(true), VProparrayBase::shape_checked);
    return result;
}

template <typename T>
VProp joined_parts(T real, T imaginary) {
    return std::complex<T>(real, imaginary);
}

template <typename T>
bool join_parts(VProp const& real, VProp const& imaginary, VProp& out) {
    if (auto const* const part = real.get_if<T>()) return out = joined_parts(*part, imaginary.get<T>()), true;
    return false;
}

} // namespace

VPropXmlParser::VPropXmlParser() = default;
VPropXmlParser::~VPropXmlParser() = default;

void VPropXmlParser::import_xml(ticpp::Element const& element, VProp& out) {
    remember(element);
    std::string const type = element.GetAttribute("type");
    if (type == "complex") return import_complex(element, out);
    auto userbits = attribute_or(element, "userbits", 0ul);
    int const code = vexa_dt_from_name(type.c_str());
    std::vector<unsigned long> const size = getsize(element);
    bool const single = size.size() == 2 && VProparrayBase::size(size) == 1 && !element.HasAttribute("isarr");
    if (code == types::none) fail_type(type);
    if (code == types::cell && attribute_or(element, "ischar", 0) != 0) userbits = 1;
    if (code == types::cell)
        import_cell(element, userbits, out);
    else if (code == types::char_)
        import_xml(element, out.set<VPropstring>());
    else if (code == types::struct_ && single)
        import_xml(element, out.set<VPropstruct>());
    else if (code == types::struct_)
        import_xml(element, out.set<VProparray<VPropstruct>>());
    else
        import_value(element, single ? code : code | types::array_flag, out);
    if (VProparrayBase* const array = out.get_arr(false)) array->userbits = userbits;
}

void VPropXmlParser::import_cell(ticpp::Element const& element, unsigned long userbits, VProp& out) {
    if (element.HasAttribute("isnoarr")) {
        ticpp::Element const child = element.FirstChildElement();
        VProp& nested = out.set<VProp>();
        if (child) import_xml(child, nested);
    } else if (attribute_or(element, "isempty", false)) {
        out.reset();
    } else if ((userbits & 1) != 0) {
        import_xml(element, out.set<VProparray<VPropstring>>());
    } else {
        import_xml(element, out.set<VProparray<VProp>>());
    }
}

/// Numbers, booleans, complex numbers, arrays of them, and the explicit nothing.
void VPropXmlParser::import_value(ticpp::Element const& element, int code, VProp& out) {
    bool const known = Vexa::props::with_value_type(code, [&]<typename T>(std::type_identity<T>) {
        if constexpr (Vexa::props::is_array_type<T>) {
            import_xml(element, out.set<T>());
        } else if constexpr (std::is_same_v<T, vexa_EMPTY>) {
            out.set<T>();
        } else if constexpr (std::is_arithmetic_v<T> || Vexa::props::is_complex_type<T>) {
            T& value = out.set<T>() = T{};
            format_.string2val(element.GetText(false), value);
        }
    });
    if (!known) fail_type(element.GetAttribute("type"));
}

void VPropXmlParser::import_xml(ticpp::Element const& element, VPropstring& out) {
    std::string const text = element.GetText(false);
    // Blanks alone are text only where the size says so; else they are the indentation of an empty element.
    bool const indentation = is_blank(text) && VProparrayBase::size(getsize(element)) != text.size();
    out = VPropstring::from_utf8(indentation ? std::string() : text);
}

void VPropXmlParser::import_xml(ticpp::Element const& element, VPropstruct& out) {
    for (auto child = element.FirstChildElement(); child; child = child.NextSiblingElement())
        import_xml(child, out.emplace_back(child.Value(), VProp()).second);
}

void VPropXmlParser::import_xml(ticpp::Element const& element, VProparray<VProp>& out) {
    out.clear();
    for (auto child = element.FirstChildElement(); child; child = child.NextSiblingElement())
        import_xml(child, out.emplace_back());
    remember(element);
    out.set_size(getsize(element), VProparrayBase::shape_checked);
}

void VPropXmlParser::import_xml(ticpp::Element const& element, VProparray<VPropstruct>& out) {
    std::vector<unsigned long> const size = getsize(element);
    unsigned long const n = VProparrayBase::size(size);
    unsigned long const children = get_num_children(element);
    if (n != 0 && children % n != 0) throw std::runtime_error("Invalid struct array.");
    unsigned long const members = n == 0 ? 0 : children / n;
    // Structures without members take no text, so their number is bounded for the whole document.
    if (members == 0 && n > largest_empty_struct_count - empty_structs_)
        throw std::runtime_error("Too many structures without members.");
    if (members == 0) empty_structs_ += n;
    out.clear();
    out.std::vector<VPropstruct>::resize(n);
    auto child = element.FirstChildElement();
    for (VPropstruct& s : out)
        for (unsigned long i = 0; i < members; ++i, child = child.NextSiblingElement())
            import_xml(child, s.emplace_back(child.Value(), VProp()).second);
    remember(element);
    out.set_size(size, VProparrayBase::shape_checked);
}

void VPropXmlParser::import_xml(ticpp::Element const& element, VProparray<VPropstring>& out) {
    out.clear();
    for (auto child = element.FirstChildElement(); child; child = child.NextSiblingElement())
        import_xml(child, out.emplace_back());
    out.set_size(getsize(element), VProparrayBase::shape_checked);
}

template <typename T>
void VPropXmlParser::import_xml(ticpp::Element const& element, VProparray<T>& out) {
    out.clear();
    auto stream = VPropFormat::new_input(element.GetText(false));
    for (T value{}; stream.good() && format_.stream2val(stream, value);) {
        out.push_back(value);
        while (stream.peek() == ' ') stream.get();
    }
    out.set_size(getsize(element), VProparrayBase::shape_checked);
}

#define VEXA_INSTANTIATE(T)                                                                                  \
    template VEXA_API void VPropXmlParser::import_xml(ticpp::Element const&, VProparray<T>&);
VEXA_INSTANTIATE(unsigned char)
VEXA_INSTANTIATE(signed char)
VEXA_INSTANTIATE(unsigned short)
VEXA_INSTANTIATE(short)
VEXA_INSTANTIATE(unsigned int)
VEXA_INSTANTIATE(int)
VEXA_INSTANTIATE(unsigned long)
VEXA_INSTANTIATE(long)
VEXA_INSTANTIATE(bool)
VEXA_INSTANTIATE(float)
VEXA_INSTANTIATE(double)
VEXA_INSTANTIATE(std::complex<float>)
VEXA_INSTANTIATE(std::complex<double>)
#undef VEXA_INSTANTIATE

void VPropXmlParser::import_complex(ticpp::Element const& element, VProp& out) {
    if (get_num_children(element) != 2) throw std::runtime_error("Malformed 'complex' element.");
    VProp real, imaginary;
    ticpp::Element const first = element.FirstChildElement();
    import_xml(first, real);
    import_xml(first.NextSiblingElement(), imaginary);
    remember(element);
    if (real.get_id() != imaginary.get_id())
        throw std::runtime_error("Real and imaginary part have different types in 'complex' element.");
    bool const known = join_parts<float>(real, imaginary, out) || join_parts<double>(real, imaginary, out) ||
                       join_parts<VProparray<float>>(real, imaginary, out) ||
                       join_parts<VProparray<double>>(real, imaginary, out);
    if (!known) throw std::runtime_error("Invalid type in 'complex' element.");
}

std::vector<unsigned long> VPropXmlParser::getsize(ticpp::Element const& element) {
    if (!element.HasAttribute("size")) return {1, 1};
    auto stream = VPropFormat::new_input(element.GetAttribute("size"));
    VPropFormat const format;
    std::vector<unsigned long> extents;
    for (unsigned long extent = 0; stream.good() && format.stream2val(stream, extent);)
        extents.push_back(extent);
    return extents;
}

unsigned long VPropXmlParser::get_num_children(ticpp::Element const& element) {
    unsigned long count = 0;
    for (auto child = element.FirstChildElement(); child; child = child.NextSiblingElement()) ++count;
    return count;
}

std::string VPropXmlParser::get_element_location(ticpp::Element const* element) {
    if (!element || !*element) return "<unknown-location>";
    std::string location = element->Value();
    for (auto around = element->Parent(); around; around = around.Parent())
        if (std::string const name = around.Value(); !name.empty()) location.insert(0, name + '.');
    return location;
}

void VPropXmlParser::remember(ticpp::Element const& element) {
    current_ = std::make_unique<ticpp::Element>(element.view());
}

VProp vexa_import_xml(std::string const& text, int format) {
    int const wanted = format & 0xFFFF;
    ticpp::Document document;
    document.Parse(text);
    Top const top = find_top(document, wanted);
    if (wanted != detect_form && wanted != top.form)
        throw std::runtime_error("Specified format does not match the xml string.");
    VProp result;
    VPropXmlParser parser;
    try {
        parser.import_xml(top.element, result);
    } catch (std::exception const& error) {
        throw std::runtime_error(fmt::format("{}\nLocation:\n{}", error.what(),
                                             VPropXmlParser::get_element_location(parser.current())));
    }
    return result;
}
