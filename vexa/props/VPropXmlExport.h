#pragma once

#include <memory>
#include <string>
#include <vector>

#include <vexa/foundation/export.h>
#include <vexa/props/VPropFormat.h>
#include <vexa/props/propvisitor.h>

namespace ticpp {
class Element;
}

/// Write a property tree as XML, see VPropXmlParser.h for the way back.
///
/// Every value is an element with its type and size. Members of structures are elements of their names;
/// values without a name are "item". Elements of structure arrays must have the same number of members to be
/// read back: those with fewer get empty handles under the missing names.
/// \param format of its low 16 bits: 1
/// LVData form, 2 native form, 3 only the text of the top value, without markup; anything else gives an empty
/// text
/// \note Deliberate: sets bit 0 of `userbits` of each string array that it writes.
/// \throws
/// std::runtime_error "Type unknown or incompatible with xml export."; "Invalid element name '{}' in xml
/// export." for a member that cannot name an element; "Text does not exist in the current element" for format
/// 3 and a container; "Property tree exceeds the limits of its xml form." for a tree that VPropXmlParser
/// would refuse to read; as VProparrayBase::get_size(true)
VEXA_API std::string vexa_export_xml(VProp const& value, int format);

/// Builds the elements of a tree while it visits it. After the walk one element is left, which is the tree's.
class VEXA_API VPropXmlExport final : public VPropVisitor {
public:
    using VPropVisitor::visit;
    using VPropVisitor::visit_exit;

    /// \param separator stands between the elements of arrays; only its first character is used
    /// \param max_depth how deep elements may be nested
    VPropXmlExport(std::string separator, int format, unsigned long max_depth);
    VPropXmlExport(VPropXmlExport const&) = delete;
    VPropXmlExport& operator=(VPropXmlExport const&) = delete;
    ~VPropXmlExport() override;

    int visit(VProp const& p) override;
    bool visit_exit(VProp const& p) override;
    bool visit_exit(VPropstruct const& s) override;
    bool visit_exit(VPropstring const& text) override;

    /// Give away the element that is left.
    /// \throws std::runtime_error "Internal error." unless there is exactly one
    ticpp::Element take_element();

private:
    ticpp::Element& new_element(std::string const& name, long index);
    void link_last();
    void write_leaf(VProp const& p, ticpp::Element& element);
    template <typename T>
    void write_array(VProp const& p, ticpp::Element& element);

    std::vector<ticpp::Element> elements_;
    std::vector<VPropstruct const*> longest_; ///< of each open structure array: the element with most members
    std::string separator_;
    VPropFormat format_;
    unsigned long max_depth_;
    unsigned long count_ = 0;         ///< of elements and attributes
    unsigned long empty_structs_ = 0; ///< elements of structure arrays without members
};
