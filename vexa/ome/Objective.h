#pragma once

#include <optional>
#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Annotation.h>
#include <vexa/ome/Reference.h>

namespace OME {

/// The immersions up to `other` are those of the schema.
enum class VEXA_API Objective_Immersion { oil, water, water_dipping, air, multi, glycerol, other, silicone };

} // namespace OME

template <>
struct VEXA_API JSON::String_Cast<OME::Objective_Immersion, 0> : JSON::Enum_Cast<OME::Objective_Immersion> {
    static Map const& map();
};

namespace OME {

extern template class Element_with_ID<Objective>;
extern template class Manufacturer_Specification_with_ID<Objective>;

/// An objective lens.
class VEXA_API Objective : public Manufacturer_Specification_with_ID<Objective> {
public:
    using Immersion = Objective_Immersion;
    class Extension;

    Objective(JSON::Proxy& parent, Position position);

    /// The index of the medium; empty for a medium without one.
    /// \note Deliberate: glycerol has the index of oil, and water dipping has none.
    static std::optional<double> refractive_index(Immersion immersion);

    /// Empty if there is none.
    /// \throws std::bad_variant_access if something that is no name was set behind its back
    std::optional<Immersion> immersion() const;
    /// Store the immersion. The schema sees `other` for one that it doesn't know.
    /// \throws std::bad_variant_access for an enumerator without a name, before anything changes
    void set_immersion(Immersion immersion);

    std::optional<double> lens_NA() const { return real_in(lens_NA_); }
    void set_lens_NA(double aperture) { store_real(aperture, lens_NA_); }
    /// The calibrated magnification if there is one, else the nominal one.
    std::optional<double> magnification() const;
    void set_nominal_magnification(double magnification);
    void set_calibrated_magnification(double magnification);

    /// Free text, such as "PlanApo".
    Document<std::string>& correction() { return correction_; }
    Document<std::string> const& correction() const { return correction_; }
    /// Number and unit, such as "mm".
    Document<JSON::Number>& working_distance() { return working_distance_; }
    Document<JSON::Number> const& working_distance() const { return working_distance_; }
    Document<std::string>& working_distance_unit() { return working_distance_unit_; }
    Document<std::string> const& working_distance_unit() const { return working_distance_unit_; }
    /// Whether there is an iris.
    Document<JSON::Boolean>& iris() { return iris_; }
    Document<JSON::Boolean> const& iris() const { return iris_; }

    void resolve_references() override;

private:
    Document<std::string> correction_{*this, "Correction"};
    Document<std::string, JSON::Enum_Range<Immersion, Immersion::oil, Immersion::other>> immersion_{
        *this, "Immersion"};
    Document<JSON::Number> lens_NA_{*this, "LensNA"};
    Document<JSON::Number> nominal_magnification_{*this, "NominalMagnification"};
    Document<JSON::Number> calibrated_magnification_{*this, "CalibratedMagnification"};
    Document<JSON::Number> working_distance_{*this, "WorkingDistance"};
    Document<std::string> working_distance_unit_{*this, "WorkingDistanceUnit"};
    Document<JSON::Boolean> iris_{*this, "Iris"};
    Abstract_References annotations_{content, "AnnotationRef"};
    Reference<Extension> extension_{annotations_};
};

/// What an objective adds to the schema.
class VEXA_API Objective::Extension : public Extension_Annotation {
public:
    static std::string const& namespace_text();
    Extension(JSON::Proxy& parent, Position position);

    Document<std::string, JSON::Enum_Values<Immersion, Immersion::silicone>> other_immersion{
        extension_.element(), "other_immersion"};
};

extern template class Reference<Objective::Extension>;
extern template class Array_of<Objective>;
extern template class Reference<Objective const>;

} // namespace OME
