#pragma once

#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Annotation.h>
#include <vexa/ome/Band.h>
#include <vexa/ome/Dataset.h>
#include <vexa/ome/Dye.h>
#include <vexa/ome/Reference.h>

namespace OME {

extern template class Element_with_ID<Project>;

/// A group of datasets, with the dyes and bands that its images show.
class VEXA_API Project : public Element_with_ID<Project> {
public:
    class Extension;

    Project(JSON::Proxy& parent, Position position);

    Document<std::string>& name() { return name_; }
    Document<std::string> const& name() const { return name_; }
    Document<std::string>& description() { return description_.content; }
    Document<std::string> const& description() const { return description_.content; }

    /// Null until they are provided, or read from the document.
    Array_of<Dye>* dyes();
    Array_of<Dye> const* dyes() const;
    Array_of<Band>* bands();
    Array_of<Band> const* bands() const;
    Array_of<Dye>& provide_dyes();
    Array_of<Band>& provide_bands();

    void add(Dataset& dataset) { datasets_.emplace_back(dataset); }
    void remove(Dataset const& dataset);
    void resolve_references() override;

    /// Bring what earlier releases wrote up to date; see Root::update().
    /// \return whether there was something
    /// \throws std::invalid_argument, std::out_of_range "stoul" for a colour that is no number
    bool update_1();
    bool update_2();

private:
    Document<std::string> name_{*this, "Name"};
    One_of<Text> description_{content, "Description"};
    Array_of<Reference<Dataset>> datasets_{content, "DatasetRef"};
    Abstract_References annotations_{content, "AnnotationRef"};
    Reference<Extension> extension_{annotations_};
};

/// What a project adds to the schema.
class VEXA_API Project::Extension : public Extension_Annotation {
public:
    static std::string const& namespace_text();
    Extension(JSON::Proxy& parent, Position position);

    Array_of<Dye>& dyes() { return dyes_; }
    Array_of<Dye> const& dyes() const { return dyes_; }
    Array_of<Band>& bands() { return bands_; }
    Array_of<Band> const& bands() const { return bands_; }
    void resolve_references() override;

private:
    Array_of<Dye> dyes_{extension_.content, "dye"};
    Array_of<Band> bands_{extension_.content, "band"};
};

extern template class Reference<Project::Extension>;
extern template class Array_of<Project>;

} // namespace OME
