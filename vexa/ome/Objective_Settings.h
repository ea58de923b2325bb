#pragma once

#include <string>

#include <vexa/foundation/export.h>
#include <vexa/ome/Objective.h>
#include <vexa/ome/One_of.h>
#include <vexa/ome/Reference.h>

namespace OME {

/// The objective with which an image was taken, and how it was set.
class VEXA_API Objective_Settings : public Reference<Objective const> {
public:
    Objective_Settings(JSON::Proxy& parent, Position position);

    /// A number of the manufacturer.
    Document<JSON::Number>& correction_collar() { return correction_collar_; }
    Document<JSON::Number> const& correction_collar() const { return correction_collar_; }
    /// Empty if there is none.
    /// \throws std::bad_variant_access if something that is no name was set behind its back
    std::optional<Objective::Immersion> medium() const {
        return enumerator_in<Objective::Immersion>(medium_);
    }
    /// \throws std::bad_variant_access for a medium other than air, oil, water, glycerol and `other`
    void set_medium(Objective::Immersion medium) { medium_.set(medium); }
    std::optional<double> refractive_index() const { return real_in(refractive_index_); }
    void set_refractive_index(double index) { store_real(index, refractive_index_); }

private:
    using Immersion = Objective::Immersion;
    using Medium = JSON::Enum_Values<Immersion, Immersion::air, Immersion::oil, Immersion::water,
                                     Immersion::glycerol, Immersion::other>;

    Document<JSON::Number> correction_collar_{*this, "CorrectionCollar"};
    Document<std::string, Medium> medium_{*this, "Medium"};
    Document<JSON::Number> refractive_index_{*this, "RefractiveIndex"};
};

extern template class One_of<Objective_Settings>;

} // namespace OME
