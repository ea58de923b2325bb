#pragma once

#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Element.h>
#include <vexa/ome/Image.h>
#include <vexa/ome/One_of.h>
#include <vexa/ome/Reference.h>

namespace OME {

extern template class Element_with_ID<Dataset>;

/// A group of images of one project.
class VEXA_API Dataset : public Element_with_ID<Dataset> {
public:
    Dataset(JSON::Proxy& parent, Position position);

    Document<std::string>& name() { return name_; }
    Document<std::string> const& name() const { return name_; }
    Document<std::string>& description() { return description_.content; }
    Document<std::string> const& description() const { return description_.content; }

    void add(Image& image) { images_.emplace_back(image); }
    void remove(Image const& image);
    Array_of<Reference<Image>> const& images() const { return images_; }
    void resolve_references() override;

private:
    Document<std::string> name_{*this, "Name"};
    One_of<Text> description_{content, "Description"};
    Array_of<Reference<Image>> images_{content, "ImageRef"};
};

extern template class Array_of<Dataset>;
extern template class Reference<Dataset>;
extern template class Array_of<Reference<Dataset>>;

} // namespace OME
