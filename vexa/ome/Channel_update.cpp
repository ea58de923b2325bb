// How channels of earlier releases are brought up to date.

#include <vexa/ome/Channel.h>

#include <algorithm>

#include <vexa/ome/Channel_Extension.h>
#include <vexa/ome/Old_Annotation_internal.h>
#include <vexa/ome/Reference_internal.h>

namespace OME {

namespace {

/// A group of an old annotation, if it is there with at least one of its values.
struct Group {
    Group(JSON::Value const& contents, char const* the_name, std::initializer_list<char const*> keys)
        : name(the_name), value(contents.find(name, 0)) {
        if (value && std::none_of(keys.begin(), keys.end(), [this](auto key) { return has(key); }))
            value = nullptr;
    }

    bool has(char const* key) const { return value && detail::has_value(*value, key); }
    double real(char const* key) const { return detail::real_in(*value, name, key); }
    int integer(char const* key) const { return detail::integer_in(*value, name, key); }
    std::string const& text(char const* key) const { return detail::text_in(*value, name, key); }
    template <typename Unit>
    Quantity<Unit> quantity(char const* key, char const* unit_key) const {
        return {real(key), JSON::Value(text(unit_key)).get<Unit>()};
    }

    char const* name;
    JSON::Value const* value;
};

constexpr char const* settings_name = "LightSourceSettings";

void take_over(Group const& old, Light_Source_Settings& settings) {
    if (old.has("ID")) settings.assign(settings.root().find_light_source(old.text("ID")));
    if (old.has("Attenuation")) store_real(old.real("Attenuation"), settings.attenuation());
    if (!old.has("Wavelength")) return;
    bool const has_unit = old.has("WavelengthUnit");
    settings.set_wavelength(has_unit ? old.quantity<Length>("Wavelength", "WavelengthUnit")
                                     : Quantity<Length>{old.real("Wavelength"), Length::nm});
}

} // namespace

bool Channel::take_over_old(JSON::Value const& contents) {
    Group const lines(contents, "lines", {"accumulation"});
    Group const gating(contents, "gating", {"delay", "width"});
    Group const deactivation(contents, "deactivation", {"wavelength", "z_component", settings_name});
    if (!lines.value && !gating.value && !deactivation.value) return false;

    if (lines.value) set_line_accumulation(lines.integer("accumulation"));
    if (gating.has("delay")) set_gating_delay(gating.quantity<Time>("delay", "delay_unit"));
    if (gating.has("width")) set_gating_width(gating.quantity<Time>("width", "width_unit"));
    if (deactivation.has("wavelength"))
        set_deactivation_wavelength(deactivation.quantity<Length>("wavelength", "wavelength_unit"));
    if (deactivation.has("z_component")) set_deactivation_z_component(deactivation.real("z_component"));
    if (JSON::Value const* children = deactivation.value ? deactivation.value->find("") : nullptr)
        if (Group const settings(*children, settings_name, {"ID", "Attenuation", "Wavelength"});
            settings.value)
            take_over(settings, extension_->deactivation.light_source_settings);
    return true;
}

bool Channel::update_1() {
    detail::Annotation_Users users(*root().value());
    return update_1(users);
}

bool Channel::update_1(detail::Annotation_Users& users) {
    return detail::take_old_annotations(
        annotations_, root().ome.element().annotations(), users, {"lines", "gating", "deactivation"},
        [this](JSON::Value const& contents) { return take_over_old(contents); });
}

/// The dye that the channel refers to, or else the one that it names.
Dye const* Channel::shown_dye() {
    if (Dye const* referred = dye()) return referred;
    Array_of<Dye> const* dyes = root().ome.element().dyes();
    if (!dyes || !fluor_) return nullptr;
    for (Dye const& dye : *dyes)
        if (dye.name() && *dye.name().value() == *fluor_.value()) return &dye;
    return nullptr;
}

void Channel::update_2() {
    Array_of<Band> const* bands = root().ome.element().bands();
    if (!bands || band()) return;
    Dye const* const shown = shown_dye();
    if (!shown) return;
    for (Band const& band : *bands)
        if (band.first_dye() == shown) return set_band(*band.id.value());
}

} // namespace OME
