#include <vexa/props/VPropXmlExport.h>

#include <algorithm>
#include <stdexcept>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <vexa/props/VPropXmlParser.h>
#include <vexa/props/ticpp_internal.h>
#include <vexa/props/type_list_internal.h>
#include <vexa/props/xml_guard_internal.h>

namespace {

namespace types = Vexa::types;

constexpr int lvdata_form = 1;
constexpr int native_form = 2;
constexpr int text_only = 3;
constexpr unsigned long counted_per_element = 7; // itself and the most attributes that one has

std::string extents_text(std::vector<unsigned long> const& extents) {
    return fmt::format("{}", fmt::join(extents, " "));
}

/// Write a string's text; its size is that of a row of UTF-8 bytes.
void _s_do_string(ticpp::Element& element, VPropstring const& string, std::string& size) {
    std::ostringstream stream = VPropFormat::new_output();
    stream << string.to_utf8();
    if (stream.fail()) throw ticpp::Exception("Could not convert value to text");
    std::string const text = stream.str();
    size = extents_text(VProparrayBase::val2size(text.size()));
    element.SetText(text);
}

void set_type_and_size(ticpp::Element& element, char const* type, std::string const& size) {
    element.SetAttribute("type", type);
    element.SetAttribute("size", size);
}

void set_empty(ticpp::Element& element) {
    element.SetAttribute("isempty", 1);
    set_type_and_size(element, "cell", "0 0");
}

VPropstruct const* longest_of(VProparray<VPropstruct> const& array) {
    auto const found = std::max_element(array.begin(), array.end(),
                                        [](auto const& a, auto const& b) { return a.size() < b.size(); });
    return found == array.end() ? nullptr : &*found;
}

[[noreturn]] void fail_limits() {
    throw std::runtime_error("Property tree exceeds the limits of its xml form.");
}

} // namespace

VPropXmlExport::VPropXmlExport(std::string separator, int format, unsigned long max_depth)
    : separator_(std::move(separator)), format_(1, format), max_depth_(max_depth) {}

VPropXmlExport::~VPropXmlExport() = default;

int VPropXmlExport::visit(VProp const& p) {
    bool const top = stack.empty();
    ticpp::Element& element = new_element(top ? "" : stack.back().name, top ? -1 : stack.back().index);
    if (p.empty()) {
        set_empty(element);
    } else if (p.get_if<VProp>()) {
        element.SetAttribute("isnoarr", 1);
        set_type_and_size(element, "cell", "1 1");
    } else if (p.get_if<VPropstruct>()) {
        set_type_and_size(element, "struct", "1 1");
    } else {
        write_leaf(p, element);
        if (auto const* const structs = p.get_if<VProparray<VPropstruct>>()) {
            longest_.push_back(longest_of(*structs));
            if (longest_.back() && longest_.back()->empty()) empty_structs_ += structs->size();
            if (empty_structs_ > VPropXmlParser::largest_empty_struct_count) fail_limits();
        }
    }
    return 1;
}

bool VPropXmlExport::visit_exit(VProp const& p) {
    if (p.get_if<VProparray<VPropstruct>>()) longest_.pop_back();
    if (elements_.size() > 1) link_last();
    return true;
}

bool VPropXmlExport::visit_exit(VPropstruct const& s) {
    VPropstruct const* const longest = longest_.empty() ? nullptr : longest_.back();
    if (!longest || elements_.empty()) return true;
    auto const add_empty = [this](std::string const& name) {
        set_empty(new_element(name, stack.back().index));
        link_last();
    };
    std::size_t missing = longest->size() - s.size();
    for (auto member = longest->begin(); missing > 0 && member != longest->end(); ++member) {
        if (s.has_key(member->first)) continue;
        add_empty(member->first);
        --missing;
    }
    for (; missing > 0; --missing) add_empty("");
    return true;
}

bool VPropXmlExport::visit_exit(VPropstring const& text) {
    std::string size;
    ticpp::Element& element = new_element("", string_index);
    _s_do_string(element, text, size);
    set_type_and_size(element, "char", size);
    link_last();
    return true;
}

ticpp::Element VPropXmlExport::take_element() {
    if (elements_.size() != 1) throw std::runtime_error("Internal error.");
    ticpp::Element element = std::move(elements_.back());
    elements_.clear();
    return element;
}

/// \param name empty for a value without one
/// \param index counts from 0; negative for none
ticpp::Element& VPropXmlExport::new_element(std::string const& name, long index) {
    if (!name.empty() && !Vexa::props::is_xml_name(name))
        throw std::runtime_error(fmt::format("Invalid element name '{}' in xml export.", name));
    count_ += counted_per_element;
    if (elements_.size() >= max_depth_ || count_ > VPropXmlParser::largest_count) fail_limits();
    // The top one keeps the name that an element has from the start.
    if (elements_.empty())
        elements_.emplace_back();
    else
        elements_.emplace_back(name.empty() ? "item" : name);
    ticpp::Element& element = elements_.back();
    element.SetAttribute("idx", index < 0 ? 1 : index + 1);
    return element;
}

void VPropXmlExport::link_last() {
    ticpp::Element element = std::move(elements_.back());
    elements_.pop_back();
    elements_.back().LinkEndChild(std::move(element));
}

/// All but structures, nested and empty handles: attributes, and text where there is any.
void VPropXmlExport::write_leaf(VProp const& p, ticpp::Element& element) {
    bool const known = Vexa::props::with_value_type(p.get_id(), [&]<typename T>(std::type_identity<T>) {
        if constexpr (Vexa::props::is_array_type<T>) {
            write_array<T>(p, element);
        } else if constexpr (std::is_same_v<T, VPropstring>) {
            std::string size;
            _s_do_string(element, p.get<T>(), size);
            set_type_and_size(element, "char", size);
        } else if constexpr (std::is_same_v<T, vexa_EMPTY>) {
            set_type_and_size(element, "empty", "1 1");
            element.SetText("");
        } else if constexpr (!std::is_same_v<T, VProp> && !std::is_same_v<T, VPropstruct>) {
            set_type_and_size(element, vexa_dt_get_name(p.get_id()), "1 1");
            element.SetText(format_.val2string(p.get<T>(), separator_[0]));
        }
    });
    if (!known) throw std::runtime_error("Type unknown or incompatible with xml export.");
}

template <typename T>
void VPropXmlExport::write_array(VProp const& p, ticpp::Element& element) {
    T const& array = p.get<T>();
    constexpr bool strings = std::is_same_v<T, VProparray<VPropstring>>;
    // The mark that tells a string array from a cell array. It belongs to the array, through whichever
    // handle.
    if constexpr (strings) const_cast<T&>(array).userbits |= 1;
    if (array.size() == 1) element.SetAttribute("isarr", 1);
    element.SetAttribute("userbits", array.userbits);
    set_type_and_size(element, strings ? "cell" : vexa_dt_get_name(p.get_id()),
                      extents_text(array.get_size(true)));
    if constexpr (std::is_base_of_v<std::vector<VProp>, T> || std::is_base_of_v<std::vector<VPropstruct>, T>)
        return;
    else if constexpr (!strings)
        element.SetText(format_.val2string(array, separator_[0]));
}

std::string vexa_export_xml(VProp const& value, int format) {
    int const form = format & 0xFFFF;
    if (form < lvdata_form || form > text_only) return {};
    VPropXmlExport exporter(" ", form, VPropXmlParser::largest_depth - (form == lvdata_form ? 1 : 0));
    exporter.run(value);
    ticpp::Element element = exporter.take_element();
    if (form == text_only) return element.GetText(true);

    ticpp::Document document;
    if (form == native_form) {
        element.SetValue("root");
        element.SetAttribute("vprop_version", 1);
        document.LinkEndChild(std::move(element));
    } else {
        ticpp::Element version("Version");
        version.SetText("8.2.1");
        ticpp::Element lvdata("LVData");
        lvdata.LinkEndChild(std::move(version));
        lvdata.LinkEndChild(std::move(element));
        document.LinkDeclaration("1.0", "", "yes");
        document.LinkEndChild(std::move(lvdata));
    }
    std::string text = document.Print();
    if (text.size() > VPropXmlParser::largest_text) fail_limits();
    return text;
}
