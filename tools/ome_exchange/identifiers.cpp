#include "identifiers.h"

namespace OME {

namespace {

constexpr std::string_view global_prefix = "urn:lsid:";

/// The elements with identifiers that Root reads, and all that can stand in their place or refer to them.
std::map<std::string_view, std::string_view> const words = {{"Project", "Project"},
                                                            {"Dataset", "Dataset"},
                                                            {"DatasetRef", "Dataset"},
                                                            {"Folder", "Folder"},
                                                            {"FolderRef", "Folder"},

                                                            {"Instrument", "Instrument"},
                                                            {"InstrumentRef", "Instrument"},
                                                            {"LightSource", "LightSource"},
                                                            {"Laser", "LightSource"},
                                                            {"Arc", "LightSource"},
                                                            {"Filament", "LightSource"},
                                                            {"LightEmittingDiode", "LightSource"},
                                                            {"GenericExcitationSource", "LightSource"},
                                                            {"Pump", "LightSource"},
                                                            {"LightSourceSettings", "LightSource"},
                                                            {"Detector", "Detector"},
                                                            {"DetectorSettings", "Detector"},
                                                            {"Objective", "Objective"},
                                                            {"ObjectiveSettings", "Objective"},
                                                            {"Filter", "Filter"},
                                                            {"ExcitationFilterRef", "Filter"},
                                                            {"EmissionFilterRef", "Filter"},

                                                            {"Image", "Image"},
                                                            {"ImageRef", "Image"},
                                                            {"Pixels", "Pixels"},
                                                            {"Channel", "Channel"},

                                                            {"ROI", "ROI"},
                                                            {"ROIRef", "ROI"},
                                                            {"Shape", "Shape"},
                                                            {"Rectangle", "Shape"},
                                                            {"Mask", "Shape"},
                                                            {"Point", "Shape"},
                                                            {"Ellipse", "Shape"},
                                                            {"Line", "Shape"},
                                                            {"Polyline", "Shape"},
                                                            {"Polygon", "Shape"},
                                                            {"Label", "Shape"},

                                                            {"AnnotationRef", "Annotation"},
                                                            {"XMLAnnotation", "Annotation"},
                                                            {"FileAnnotation", "Annotation"},
                                                            {"ListAnnotation", "Annotation"},
                                                            {"LongAnnotation", "Annotation"},
                                                            {"DoubleAnnotation", "Annotation"},
                                                            {"CommentAnnotation", "Annotation"},
                                                            {"BooleanAnnotation", "Annotation"},
                                                            {"TimestampAnnotation", "Annotation"},
                                                            {"TagAnnotation", "Annotation"},
                                                            {"TermAnnotation", "Annotation"},
                                                            {"MapAnnotation", "Annotation"}};

/// A global identifier as a local one; empty if the text is none.
std::string local_form(std::string_view text) {
    if (!text.starts_with(global_prefix)) return {};
    text.remove_prefix(global_prefix.size());
    auto const behind_authority = text.find(':');
    if (behind_authority == 0 || behind_authority == text.npos) return {};
    std::string_view const authority = text.substr(0, behind_authority + 1);
    text.remove_prefix(authority.size());
    auto const behind_word = text.find(':');
    if (behind_word == 0 || behind_word == text.npos || behind_word + 1 == text.size()) return {};
    std::string form(text.substr(0, behind_word + 1));
    return form.append(authority).append(text.substr(behind_word + 1));
}

bool begins_with_word(std::string_view text, std::string_view word) {
    return text.starts_with(word) && text.size() > word.size() && text[word.size()] == ':';
}

} // namespace

bool holds_identifier(std::string_view attribute) {
    return attribute == "ID" || attribute == "Annotator" || attribute.ends_with("Ref") ||
           attribute.ends_with("Pixels");
}

std::string_view identifier_word(std::string_view element) {
    auto const found = words.find(element);
    return found == words.end() ? std::string_view() : found->second;
}

std::string const& Identifiers::in_form(std::string const& text, std::string_view word) {
    auto const [entry, is_new] = forms_.try_emplace({word, text});
    std::string& form = entry->second;
    if (!is_new) return form;
    form = local_form(text);
    if (form.empty()) form = text;
    if (!word.empty() && !begins_with_word(form, word)) form.insert(0, std::string(word) + ':');
    while (originals_.try_emplace(form, text).first->second != text) form += '_';
    return form;
}

} // namespace OME
