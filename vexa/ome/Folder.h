#pragma once

#include <optional>
#include <string>

#include <vexa/foundation/export.h>
#include <vexa/json/Time_Point.h>
#include <vexa/ome/Annotation.h>
#include <vexa/ome/Element.h>
#include <vexa/ome/Image.h>
#include <vexa/ome/One_of.h>
#include <vexa/ome/ROI.h>
#include <vexa/ome/Reference.h>

namespace OME {

extern template class Element_with_ID<Folder>;

/// A group of folders, images and regions, with what a user interface notes down about it.
class VEXA_API Folder : public Element_with_ID<Folder> {
public:
    class Extension;
    class Processing;

    Folder(JSON::Proxy& parent, Position position);

    Document<std::string>& name() { return name_; }
    Document<std::string> const& name() const { return name_; }
    Document<std::string>& description() { return description_.content; }
    Document<std::string> const& description() const { return description_.content; }

    void add(Folder& folder) { folders_.emplace_back(folder); }
    void remove(Folder const& folder);
    void add(Image& image) { images_.emplace_back(image); }
    void remove(Image const& image);
    Array_of<Reference<Image>> const& images() const { return images_; }
    void add(ROI& region) { regions_.emplace_back(region); }
    void remove(ROI const& region);

    /// Empty if there is none, or its text is no time.
    std::optional<JSON::Time_Point> creation_date() const;
    void set_creation_date(JSON::Time_Point date);
    bool has_bookmark() const;
    void set_has_bookmark(bool has_bookmark);
    bool is_overview() const;
    void set_is_overview(bool is_overview);
    /// The text of the grid, empty if there is none.
    std::string processing_grid() const;
    void set_processing_grid(std::string const& grid);
    void reset_processing_grid();

    void resolve_references() override;

private:
    Document<std::string> name_{*this, "Name"};
    One_of<Text> description_{content, "Description"};
    Array_of<Reference<Folder>> folders_{content, "FolderRef"};
    Array_of<Reference<Image>> images_{content, "ImageRef"};
    Array_of<Reference<ROI>> regions_{content, "ROIRef"};
    Abstract_References annotations_{content, "AnnotationRef"};
    Reference<Extension> extension_{annotations_};
};

/// How the images of a folder are processed.
class VEXA_API Folder::Processing : public Element<Object_of_Documents> {
public:
    Processing(JSON::Proxy& parent, Position position);

    One_of<Text> grid{content, "Grid"};
};

extern template class One_of<Folder::Processing>;

/// What a folder adds to the schema.
class VEXA_API Folder::Extension : public Extension_Annotation {
public:
    static std::string const& namespace_text();
    Extension(JSON::Proxy& parent, Position position);

    One_of<Text> creation_date{extension_.content, "creation_date"};
    Document<JSON::Boolean, JSON::Default<false>> has_bookmark{extension_.element(), "has_bookmark"};
    Document<JSON::Boolean> is_overview{extension_.element(), "is_overview"};
    One_of<Processing> processing{extension_.content, "Processing"};
};

extern template class Reference<Folder::Extension>;
extern template class Array_of<Folder>;
extern template class Reference<Folder>;
extern template class Array_of<Reference<Folder>>;

} // namespace OME
