#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <vexa/foundation/box.h>
#include <vexa/foundation/export.h>
#include <vexa/json/Time_Point.h>
#include <vexa/ome/Channel.h>
#include <vexa/ome/Image_Dimensions.h>
#include <vexa/ome/Image_Layout.h>
#include <vexa/ome/Instrument.h>
#include <vexa/ome/Objective_Settings.h>
#include <vexa/ome/Plane.h>
#include <vexa/ome/ROI.h>
#include <vexa/ome/Reference.h>
#include <vexa/ome/Tile_Grid.h>

namespace OME {

extern template class Element_with_ID<Image>;

/// One data set: its dimensions, its channels, its planes with their positions, and how it was acquired.
///
/// Sizes, order and sub-dimensions are copied from the document into a layout, which adjust() brings up to
/// date after changes that go around this class. Sizes that are missing are 0, and without an order it is
/// XYZCT.
///
/// The list of planes may be shorter than the sizes say, or empty. A plane is found by its place in the list,
/// where planes follow each other as in storage, whatever indices it bears. Sizes come from files and may be
/// anything: nothing is allocated for planes that aren't in the list, and no more of them are made than
/// most_planes.
class VEXA_API Image : public Element_with_ID<Image> {
public:
    class VEXA_API Extension;
    class VEXA_API Modulo;
    using Pixels = ::OME::Pixels;
    using Type = Image_Type;
    using Scan_Direction = Image_Scan_Direction;
    using Scan_Curve = Image_Scan_Curve;
    using Data_Type = Image_Data_Type;
    using Dimension_Order = Image_Dimension_Order;
    using Dimension = Image_Dimension;
    using Dimensions = Image_Dimensions;
    using ZCT_Tuple = Image_ZCT_Tuple;
    using Positions = Image_Positions;

    static constexpr std::uint64_t most_planes = std::uint64_t{1} << 22;

    /// \throws std::bad_variant_access for a size that is negative, and for an unknown order
    Image(JSON::Proxy& parent, Position position);
    /// \param positions if not null, those of the planes, which are made for it
    /// \param pattern if not null, an image with the same dimensions, whose dates and rotation are taken over
    /// \throws Invalid_Data "Pattern does not match dimensions.", "Positions do not match dimensions.";
    /// "Invalid size modulo Z." (C, T) for sub-dimensions without a type or a size, or beyond 63 bits with
    /// the axis; "Invalid step modulo Z."; "Invalid range modulo Z." for a start that is no finite number,
    /// and for steps that get lost in rounding
    /// \throws Invalid_Argument "Unsupported modulo type {}."
    /// \throws std::bad_variant_access for enumerators without a name and for sizes beyond 63 bits
    Image(JSON::Proxy& parent, Position position, Dimensions const& dimensions, Positions const* positions,
          Image const* pattern);
    ~Image() override;
    Image& operator=(Image const& other);

    Document<std::string>& name() { return name_; }
    Document<std::string> const& name() const { return name_; }
    Document<std::string>& description() { return description_.content; }
    Document<std::string> const& description() const { return description_.content; }
    /// Empty if there is none, or its text is no time.
    std::optional<JSON::Time_Point> acquisition_date() const;
    void set_acquisition_date(JSON::Time_Point date) { acquisition_date_.content.set(date); }
    std::optional<JSON::Time_Point> acquisition_end_date() const;
    void set_acquisition_end_date(JSON::Time_Point date);

    /// Null if there is none.
    Instrument const* instrument() const { return instrument_.referent(); }
    void set_instrument(Instrument& instrument) { instrument_.assign(instrument); }
    One_of<Objective_Settings>& objective_settings() { return objective_settings_; }
    One_of<Objective_Settings> const& objective_settings() const { return objective_settings_; }
    /// \throws Invalid_Argument "Unknown objective '{}'."
    void set_objective(JSON::Value const& objective_id);

    /// Fields of the extension, which setters make and getters do without: without it an image is original,
    /// and all else is empty.
    Type type() const;
    void set_type(Type type);
    std::optional<Scan_Direction> scan_direction() const;
    void set_scan_direction(Scan_Direction direction);
    std::optional<Scan_Curve> scan_curve() const;
    void set_scan_curve(Scan_Curve curve);
    std::optional<long long> frame_step() const;
    void set_frame_step(long long step);
    std::optional<long long> line_step() const;
    void set_line_step(long long step);
    std::optional<long long> pixel_step() const;
    void set_pixel_step(long long step);
    /// How a derived image was made; empty if there is no text.
    std::string derivation_description() const;
    void set_derivation_description(std::string const& text);
    void reset_derivation_description();
    /// The images from which this one was made, and those that hold parameters, as far as they are there.
    std::vector<Image const*> source_images() const;
    void add_source_image(Image const& image);
    void remove_source_image(Image const& image);
    void clear_source_images();
    std::vector<Image const*> parameter_images() const;
    void add_parameter_image(Image const& image);
    void remove_parameter_image(Image const& image);
    void clear_parameter_images();
    Extension const* extension() const { return extension_.referent(); }

    void add(ROI& roi) { rois_.emplace_back(roi); }
    void remove(ROI const& roi) { rois_.remove(roi.id.value_or(JSON::Value())); }
    Array_of<Reference<ROI>> const& rois() const { return rois_; }

    Channel& provide_first_channel();
    std::size_t number_of_channels() const { return channels_.size(); }
    /// \throws std::out_of_range "Image has no channel {}."
    Channel& channel(std::size_t number);
    Channel const& channel(std::size_t number) const;
    /// Append copies of the channels of \p other, with identifiers of their own, and resolve the references.
    /// "SizeC" stays as it is.
    /// \throws Invalid_Argument "Incomplete data: missing {}." if they refer to something that this document
    /// doesn't have; the channels are there nevertheless
    void add_channels(Image const& other);

    /// The pixels' own identifier.
    ID_of<Pixels> const& pixels_id() const { return pixels_id_; }
    /// Empty if there is none.
    /// \throws std::bad_variant_access for an unknown one
    std::optional<Data_Type> data_type() const { return enumerator_in<Data_Type>(data_type_); }
    Document<long long>& significant_bits() { return significant_bits_; }
    Document<long long> const& significant_bits() const { return significant_bits_; }
    Document<JSON::Boolean>& interleaved() { return interleaved_; }
    Document<JSON::Boolean> const& interleaved() const { return interleaved_; }
    Document<JSON::Boolean>& big_endian() { return big_endian_; }
    Document<JSON::Boolean> const& big_endian() const { return big_endian_; }
    /// Note that the samples are in a TIFF file, or nowhere. There is one of the two notes.
    void set_TIFF_data();
    void set_metadata_only();
    bool is_TIFF_data() const { return static_cast<bool>(TIFF_data_); }
    bool is_metadata_only() const { return static_cast<bool>(metadata_only_); }

    /// What the document says of the dimensions, with 0 for lengths and times that it doesn't say, and the
    /// first enumerator for a missing type.
    Dimensions dimensions() const;
    Image_Layout const& layout() const { return layout_; }
    /// The number of pixels.
    /// \throws Invalid_Data "Image is too large." if 64 bits can't hold it
    std::uint64_t size() const;
    /// The strides in pixels of X, Y and then, in the sequence of storage, of each axis behind its
    /// sub-dimension: 8 numbers.
    /// \throws Invalid_Data "Image is too large." if 64 bits can't hold one of them
    std::vector<std::size_t> stride() const;
    /// The sizes of X, Y and the three other axes in the sequence of storage, each with its sub-dimension.
    std::vector<std::size_t> storage_shape() const;
    VX::XYZ<std::uint64_t> tile_shape_in_voxels() const;
    /// The dimension that a type of sub-dimension stands for.
    /// \throws Invalid_Argument "Unsupported modulo type {}."
    static Dimension dimension_at(Image_Modulo_Type type);
    /// How the axes are divided; null if they are not.
    Modulo* modulo() { return modulo_.referent(); }
    Modulo const* modulo() const { return modulo_.referent(); }

    /// Copy order and types of sub-dimensions, sizes, or strides from the document, or all of them.
    /// \throws std::bad_variant_access, Invalid_Data as reading does
    void adjust_dimensions();
    void adjust_shape();
    void adjust_stride() { layout_.adjust_stride(); }
    void adjust();

    Array_of<Plane> const& planes() const { return planes_; }
    /// The plane, or null if the list is too short or the image too small. Takes as many steps as the plane
    /// is away from the nearer end of the list.
    Plane const* plane(ZCT_Tuple const& tuple) const;
    /// The plane, made if it is missing. What is then done to its position is noticed, unless the positions
    /// or the tile grid of this image are asked for in between.
    /// \throws as insert_plane()
    Plane& plane(ZCT_Tuple const& tuple);
    /// Append all planes up to this one.
    /// \throws std::out_of_range "Plane is outside of the image."
    /// \throws Invalid_Argument "Image can't hold plane {}." from most_planes on
    /// Both come before anything changes.
    Plane& insert_plane(ZCT_Tuple const& tuple);
    /// Call a function for each plane in the box from \p from up to, but without, \p to, in the sequence of
    /// storage. Indices beyond the image are left out. On a const image it gets the planes that are there;
    /// else missing ones are made.
    /// \throws Invalid_Argument as insert_plane()
    void for_each_plane(ZCT_Tuple const& from, ZCT_Tuple const& to,
                        std::function<void(Plane&)> const& function);
    void for_each_plane(ZCT_Tuple const& from, ZCT_Tuple const& to,
                        std::function<void(Plane const&)> const& function) const;
    /// The same for all planes.
    void for_each_plane(std::function<void(Plane&)> const& function);
    void for_each_plane(std::function<void(Plane const&)> const& function) const;
    /// The index behind the last plane, to be used as the end of a box.
    ZCT_Tuple end() const;

    /// Add a time point, and all planes that are missing.
    /// \throws Invalid_Argument as insert_plane(), before anything changes
    /// \throws Invalid_Data "Image is too large." if 63 bits can't hold its size, before anything changes
    void add_t();
    /// Add a step to the sub-dimension of T, or divide T into two steps of this type, and add all planes that
    /// are missing. Those of the new step get the position.
    /// \throws as add_t(), and Invalid_Argument "Modulo along T already has type {}.", "Unsupported modulo
    /// type {}.", before anything changes
    void add_modulo_t(Image_Modulo_Type type, VX::XYZ<double> const& position);

    /// The time of the first plane of a channel and time point since the beginning, in seconds.
    std::optional<double> delta_t(std::uint64_t c, std::uint64_t t) const;
    /// The earliest time among all planes of a channel and time point, in seconds.
    std::optional<double> start_t(std::uint64_t c, std::uint64_t t) const;
    /// In seconds.
    std::optional<double> first_plane_exposure_time() const;

    std::optional<double> voxel_size_x_in_meters() const;
    std::optional<double> voxel_size_y_in_meters() const;
    std::optional<double> voxel_size_z_in_meters() const;
    /// Empty unless all three are there.
    std::optional<VX::XYZ<double>> voxel_shape_in_meters() const;
    /// With 0 for what is missing.
    VX::XYZ<double> finite_voxel_shape_in_meters() const;
    void set_voxel_size_x_in_meters(double size);
    void set_voxel_size_y_in_meters(double size);
    void set_voxel_size_z_in_meters(double size);
    void set_voxel_shape_in_meters(VX::XYZ<double> const& shape);

    std::optional<double> time_increment_in_seconds() const;
    void set_time_increment_in_seconds(double increment);
    /// The step of the sub-dimension "lifetime". A step without a unit is in seconds.
    std::optional<double> lifetime_increment_in_seconds() const;
    /// Start and end are converted to seconds; the number of steps stays.
    /// \throws Invalid_Argument "No modulo of type lifetime."
    /// \throws Invalid_Data as Modulo::set_range_z()
    void set_lifetime_increment_in_seconds(double increment);

    /// The rotation of the scan; 0 if there is none, or one that is not finite or in an unknown unit.
    double rotation_angle_in_radians() const;
    double rotation_angle_in_degrees() const;
    void set_rotation_angle_in_radians(double angle);
    void set_rotation_angle_in_degrees(double angle);
    /// Cosine and sine of the rotation.
    std::pair<double, double> rotation() const;

    /// The stage position of each tile, which is that of its first plane; NaN for components without meters.
    /// Tiles are the steps of the sub-dimension "tile", of which those are counted whose first plane is in
    /// the list. Without that sub-dimension the image is one tile. Valid until the image changes.
    std::vector<VX::XYZ<double>> const& positions_in_meters() const;
    /// \throws std::out_of_range "Image has no tile {}."
    VX::XYZ<double> position_in_meters(std::size_t tile) const;
    /// The centre of all tiles.
    VX::XYZ<double> position_in_meters() const;
    /// One position for each plane if all of them are in the list, else one for each tile that is.
    Positions positions() const;
    /// Set the position of a plane, whose index in the sub-dimension "tile" is replaced by \p tile. The
    /// numbers are stored as they are.
    /// \throws as insert_plane()
    void set_position_in_meters(ZCT_Tuple plane, std::uint64_t tile, VX::XYZ<double> const& position);
    /// Set one position for all planes, which are made if they are missing.
    /// \throws as insert_plane()
    void set_position_in_meters(VX::XYZ<double> const& position);
    /// Set the position of each plane.
    /// \throws Invalid_Argument "Need positions per tile.", "Need positions per plane.", before anything
    /// changes
    /// \throws as insert_plane()
    void set_position_in_meters(Positions const& positions);

    VX::XYZ<double> tile_shape_in_meters() const;
    /// The shape of all tiles together.
    VX::XYZ<double> shape_in_meters() const;
    /// How the tiles lie, see Tile_Grid. Components of positions that aren't known count as 0. References are
    /// valid until the image changes. New tiles are added to the grid; other changes let it be made anew.
    VX::XYZ<double> tile_grid_step_in_meters() const { return identify_tile_grid().step(); }
    VX::Interval<VX::XYZ<double>> tile_grid_range_in_meters() const { return identify_tile_grid().range(); }
    auto const& positions_in_tile_grid() const { return identify_tile_grid().positions_in_tile_grid(); }
    auto const& paraxial_region() const { return identify_tile_grid().paraxial_region(); }
    auto const& normalized_stencils() const { return identify_tile_grid().normalized_stencils(); }

    void reset_ID() override;
    void resolve_references() override;

    /// Bring what earlier releases wrote up to date; see Root::update().
    /// \return whether there was something
    /// \throws std::invalid_argument, std::out_of_range "stod" and "stoi" for texts that are no such numbers
    /// \throws JSON::Bad_Access "JSON path '{}' not found." for a value without a text
    /// \throws std::bad_variant_access for an unknown unit
    bool update_1();
    bool update_1(detail::Annotation_Users& users); ///< with counts that all images of a document share
    void update_2();

    void set(JSON::Value const& value, bool quiet = false) override;
    void reset() override;

private:
    using Steps = Image_Layout::Steps;
    using Unit_of_Length = Document<std::string, JSON::Enum<Length>, JSON::Default<Length::um>>;
    using Marker = One_of<Document<JSON::Map>>;
    struct Grid_Key {
        VX::XYZ<double> tile_shape, voxel_shape;
        std::pair<double, double> rotation;
        bool operator==(Grid_Key const&) const = default;
    };

    using Visitor = std::function<void(Steps const&, Plane const&)>;

    void store_dimensions(Dimensions const& dimensions);
    void take_over(Image const& pattern);
    std::uint64_t read_size(Document<long long> const& size) const;
    Document<long long>& size_of(Image_Layout::Axis axis);

    static void demand_place_for(std::uint64_t number_of_planes);
    Array_of<Plane>::const_iterator plane_at(std::uint64_t index) const;
    void provide_planes(std::uint64_t last);
    Plane& make_plane(std::uint64_t index);
    void visit_planes(Steps const& begin, Steps const& end, Visitor const& visit) const;
    void visit_or_make_planes(Steps const& begin, Steps const& end,
                              std::function<void(Steps const&, Plane&)> const& visit);
    Steps end_of_box(ZCT_Tuple const& to) const;
    void extend_t(Image_Layout after, ZCT_Tuple const& first_new, std::function<void()> const& extend_modulo,
                  VX::XYZ<double> const* position);
    void add_missing_planes(Image_Layout const& before, ZCT_Tuple const& first_new,
                            VX::XYZ<double> const* position);

    std::uint64_t number_of_tiles() const;
    std::uint64_t planes_between_tiles() const;
    std::size_t number_of_tiles_in_list() const;
    std::uint64_t tile_of(ZCT_Tuple const& tuple) const;
    ZCT_Tuple in_tile(ZCT_Tuple tuple, std::uint64_t tile) const;
    bool fits(Positions const& positions) const;
    void assign(Positions const& positions);
    void forget_tiles_from(std::uint64_t tile);
    Tile_Grid const& identify_tile_grid() const;

    Document<std::string> name_{*this, "Name"};
    One_of<Text> acquisition_date_{content, "AcquisitionDate"};
    One_of<Text> description_{content, "Description"};
    One_of<Reference<Instrument>> instrument_{content, "InstrumentRef"};
    One_of<Objective_Settings> objective_settings_{content, "ObjectiveSettings"};
    One_of<Element<Object_of_Documents>> pixels_{content, "Pixels"};
    ID_of<Pixels> pixels_id_{pixels_.element(), "ID", true};
    Document<std::string, JSON::Enum<Dimension_Order>> dimension_order_{pixels_.element(), "DimensionOrder"};
    Document<std::string, JSON::Enum<Data_Type>> data_type_{pixels_.element(), "Type"};
    Document<long long> significant_bits_{pixels_.element(), "SignificantBits"};
    Document<JSON::Boolean> interleaved_{pixels_.element(), "Interleaved"};
    Document<JSON::Boolean> big_endian_{pixels_.element(), "BigEndian"};
    Document<long long> size_x_{pixels_.element(), "SizeX"};
    Document<long long> size_y_{pixels_.element(), "SizeY"};
    Document<long long> size_z_{pixels_.element(), "SizeZ"};
    Document<long long> size_c_{pixels_.element(), "SizeC"};
    Document<long long> size_t_{pixels_.element(), "SizeT"};
    Document<JSON::Number> physical_size_x_{pixels_.element(), "PhysicalSizeX"};
    Document<JSON::Number> physical_size_y_{pixels_.element(), "PhysicalSizeY"};
    Document<JSON::Number> physical_size_z_{pixels_.element(), "PhysicalSizeZ"};
    Unit_of_Length physical_size_x_unit_{pixels_.element(), "PhysicalSizeXUnit"};
    Unit_of_Length physical_size_y_unit_{pixels_.element(), "PhysicalSizeYUnit"};
    Unit_of_Length physical_size_z_unit_{pixels_.element(), "PhysicalSizeZUnit"};
    Document<JSON::Number> time_increment_{pixels_.element(), "TimeIncrement"};
    Document<std::string, JSON::Enum<Time>, JSON::Default<Time::s>> time_increment_unit_{pixels_.element(),
                                                                                         "TimeIncrementUnit"};
    Marker TIFF_data_{pixels_.content, "TiffData"};
    Marker metadata_only_{pixels_.content, "MetadataOnly"};
    Array_of<Channel> channels_{pixels_.content, "Channel"};
    Array_of<Plane> planes_{pixels_.content, "Plane"};
    Array_of<Reference<ROI>> rois_{content, "ROIRef"};
    Abstract_References annotations_{content, "AnnotationRef"};
    Reference<Modulo> modulo_{annotations_};
    Reference<Extension> extension_{annotations_};

    Image_Layout layout_;
    mutable std::vector<VX::XYZ<double>> positions_; ///< of the tiles from the first one on
    mutable std::optional<Tile_Grid> tile_grid_;
    mutable Grid_Key grid_key_;
    mutable std::optional<std::pair<double, std::pair<double, double>>> rotation_; ///< behind its angle
};

extern template class Reference<Image::Modulo>;
extern template class Reference<Image::Extension>;
extern template class Document<JSON::Map>;
extern template class One_of<Document<JSON::Map>>;
extern template class One_of<Reference<Instrument>>;
extern template class Array_of<Image>;
extern template class Reference<Image>;
extern template class Array_of<Reference<Image>>;

} // namespace OME
