#include "keep_images.h"

#include <map>
#include <set>
#include <string>
#include <utility>

#include "document_tree.h"

namespace OME {

namespace {

/// The identifiers that an element and those below it bear or refer to.
template <typename Action>
void for_each_ID(JSON::Value const& element, Action action) {
    for_each_below(element, [&](JSON::Value const& each) {
        if (auto const* const id = attribute(each, "ID")) action(*id);
    });
}

/// Remove the elements of these identifiers from among the children of an element. What is left has no empty list
/// and no empty map of children, which have no form in XML.
void erase_children(JSON::Value& element, std::set<std::string> const& ids) {
    auto* const content = children(element);
    auto* const lists = content ? content->get_if<JSON::Map>() : nullptr;
    if (!lists) return;
    for (auto& [name, list] : *lists)
        if (auto* const elements = list.get_if<JSON::List>())
            elements->remove_if([&](JSON::Value const& child) {
                auto const* const id = attribute(child, "ID");
                return id && ids.contains(*id);
            });
    std::erase_if(*lists, [](auto const& entry) {
        auto const* const elements = entry.second.template get_if<JSON::List>();
        return elements && elements->empty();
    });
    if (lists->empty()) element.get<JSON::Map>().erase("");
}

/// The regions and annotations of a document, and how often each is named, by its own element and by others.
class Dependents {
public:
    explicit Dependents(JSON::Value const& ome) {
        auto const* const content = children(ome);
        for_each(content, "ROI", [&](JSON::Value const& region) { add(region); });
        for_each(content, "StructuredAnnotations", [&](JSON::Value const& annotations) {
            for_each_child(annotations, [&](JSON::Value const& annotation) { add(annotation); });
        });
        for_each_ID(ome, [&](std::string const& id) { ++named_[id]; });
    }

    /// Take out what only \p element named, and so on.
    /// \return all that is to go
    void drop(JSON::Value const& element, std::set<std::string>& gone) {
        std::vector<std::string> pending;
        auto const forget = [&](std::string const& id) {
            --named_[id];
            pending.push_back(id);
        };
        for_each_ID(element, forget);
        while (!pending.empty()) {
            auto const id = std::move(pending.back());
            pending.pop_back();
            auto const found = elements_.find(id);
            if (found == elements_.end() || named_[id] != 1 || !gone.insert(id).second) continue;
            for_each_ID(*found->second, forget);
        }
    }

private:
    void add(JSON::Value const& element) {
        if (auto const* const id = attribute(element, "ID")) elements_.emplace(*id, &element);
    }

    std::map<std::string, JSON::Value const*> elements_;
    std::map<std::string, std::size_t> named_;
};

} // namespace

void keep_images(JSON::Value& document, std::vector<bool> const& keep) {
    auto* const tops = elements_of(&document, "OME");
    if (!tops || tops->empty()) return;
    JSON::Value& ome = tops->front();
    auto* const images = elements_of(children(ome), "Image");
    if (!images) return;
    Dependents dependents(ome);
    std::set<std::string> gone;
    JSON::List removed;
    std::size_t index = 0;
    for (auto image = images->begin(); image != images->end(); ++index) {
        auto const at = image++;
        if (index < keep.size() && !keep[index]) removed.splice(removed.end(), *images, at);
    }
    for (JSON::Value const& image : removed) {
        if (auto const* const id = attribute(image, "ID")) gone.insert(*id);
        dependents.drop(image, gone);
    }
    for (JSON::Value const& image : *images)
        if (auto const* const id = attribute(image, "ID")) gone.erase(*id);
    for_each_below(ome, [&](JSON::Value& element) { erase_children(element, gone); });
}

} // namespace OME
