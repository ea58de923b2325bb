#pragma once

#include <memory>
#include <string>
#include <vector>

#include <vexa/foundation/export.h>
#include <vexa/props/VPropFormat.h>
#include <vexa/props/props.h>

namespace ticpp {
class Element;
}

/// Read a property tree from XML as vexa_export_xml() writes it.
///
/// The text must be well-formed. A text scalar that is no number reads as 0; in an array what is no number
/// ends the array, and its size then tells. Names of members are taken as they are.
/// \param format of its low 16 bits: 0 find out the form, 1 require the LVData form, 2 the native form
/// \throws std::runtime_error "Xml
/// input of newer version than library.", "Could not determine xml format.", "Specified format does not match
/// the xml string."; malformed text with its place; and what VPropXmlParser finds, with "\nLocation:\n" and
/// the path of the element behind it
VEXA_API VProp vexa_import_xml(std::string const& text, int format);

/// Reads values from XML elements.
///
/// Limits: the text has at most 256 MiB, elements are nested at most 1000 deep, there are at most 16777216
/// elements and attributes in all and 256 attributes in one element, and at most 65536 structures without
/// members in the structure arrays of one document. Failures: std::runtime_error "Unknown type '{}' in xml
/// string.", "Invalid struct array.", "Malformed 'complex' element.", "Real and imaginary part have different
/// types in 'complex' element.", "Invalid type in 'complex' element.", "Could not convert \"{}\" to target
/// type" for an attribute; those of VProparrayBase::set_size(); a type mismatch for a target that holds
/// something else. Threads: one at a time.
class VEXA_API VPropXmlParser {
public:
    static constexpr unsigned long largest_text = 1ul << 28;
    static constexpr unsigned long largest_depth = 1000;
    static constexpr unsigned long largest_count = 1ul << 24;
    static constexpr unsigned long largest_attribute_count = 256;
    static constexpr unsigned long largest_empty_struct_count = 1ul << 16;

    VPropXmlParser();
    ~VPropXmlParser();

    /// \param out keeps its content if it is of the type that is read
    void import_xml(ticpp::Element const& element, VProp& out);
    /// The element's text.
    void import_xml(ticpp::Element const& element, VPropstring& out);
    /// The children, appended as members.
    void import_xml(ticpp::Element const& element, VPropstruct& out);
    void import_xml(ticpp::Element const& element, VProparray<VProp>& out);
    void import_xml(ticpp::Element const& element, VProparray<VPropstruct>& out);
    void import_xml(ticpp::Element const& element, VProparray<VPropstring>& out);
    /// For numbers, booleans and complex numbers.
    template <typename T>
    void import_xml(ticpp::Element const& element, VProparray<T>& out);
    /// A complex number or array that is written as two children, real part first.
    void import_complex(ticpp::Element const& element, VProp& out);

    /// The extents in the attribute `size`; (1, 1) without one.
    static std::vector<unsigned long> getsize(ticpp::Element const& element);
    static unsigned long get_num_children(ticpp::Element const& element);
    /// The names of the element and those around it, from the top down, with a `.` between;
    /// "<unknown-location>" for null.
    static std::string get_element_location(ticpp::Element const* element);
    /// The element last worked on; null before the first.
    ticpp::Element const* current() const { return current_.get(); }

private:
    void remember(ticpp::Element const& element);
    void import_cell(ticpp::Element const& element, unsigned long userbits, VProp& out);
    void import_value(ticpp::Element const& element, int code, VProp& out);

    std::unique_ptr<ticpp::Element> current_;
    VPropFormat format_;
    unsigned long empty_structs_ = 0;
};
