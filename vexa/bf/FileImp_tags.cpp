// The tags of a file: the list on disk, and the tags in memory.

#include <vexa/bf/FileImp.h>

#include <stdexcept>
#include <utility>

#include <vexa/bf/StackImp.h>
#include <vexa/bf/position_guard_internal.h>
#include <vexa/bf/record_reader_internal.h>
#include <vexa/ome/OME_Utilities.h>
#include <vexa/ome/Root.h>

namespace Vexa::bf {

namespace {

constexpr char const* metadata_key = "ome_xml";

void require_key(std::string const& key) {
    if (key.empty()) throw std::invalid_argument("Empty tag key.");
}

} // namespace

void FileImp::set_tag(std::string const& key, std::string const& value) {
    require_key(key);
    if (!is_open() && std::exchange(file_was_closed_, false)) forget_tags();
    tags_[key] = value;
}

std::string FileImp::tag(std::string const& key) const { return tags_.at(key); }

void FileImp::set_read_metadata_cb(
    std::function<void(std::map<std::string, TagFileLocation>)> const& callback) {
    read_metadata_cb_ = callback;
}

void FileImp::set_write_metadata_cb(std::function<void()> const& callback) { write_metadata_cb_ = callback; }

void FileImp::read_metadata() {
    if (read_metadata_cb_)
        read_tag_locations();
    else if (!no_metadata_)
        read_tags(tags_);
}

void FileImp::read_tag_locations() {
    std::map<std::string, TagFileLocation> locations;
    RecordReader in(*this, tell(), end_position());
    for (std::string key = in.counted_string(); !key.empty(); key = in.counted_string()) {
        auto const length = in.value<std::uint32_t>();
        locations[key] = {.position = in.position(), .length = length};
        in.skip(length);
    }
    read_metadata_cb_(std::move(locations));
}

void FileImp::write_metadata() {
    if (write_metadata_cb_)
        write_metadata_cb_();
    else if (!no_metadata_)
        write_tags(tags_);
    write_sentinel_tag();
}

void FileImp::forget_tags() {
    tags_.clear();
    metadata_root_.reset();
}

// The document

OME::Root& FileImp::metadata() {
    if (!metadata_root_) {
        auto const stored = tags_.find(metadata_key);
        metadata_root_ = std::make_unique<OME::Root>(stored == tags_.end() ? std::string() : stored->second);
    }
    return *metadata_root_;
}

void FileImp::add_image_of(StackImp const& stack) {
    OME::Image::Dimensions dimensions;
    fill_type(dimensions, stack);
    fill_shape(dimensions, stack);
    OME::Image& image = *metadata().ome.images().emplace_back(dimensions, nullptr, nullptr);
    fill_name(image, stack);
    fill_description(image, stack);
    fill_acquisition_date(image, stack);
}

/// Put the document into the tags, before anything of them is on disk. A stored one that can't be read, and that
/// nobody has asked for, stays as it is.
void FileImp::save_metadata() {
    if (write_metadata_cb_ || no_metadata_) return;
    if (!metadata_root_ && tags_.contains(metadata_key)) {
        try {
            metadata();
        } catch (std::exception const&) {
            return;
        }
    }
    tags_[metadata_key] = metadata().XML();
}

// The list

void FileImp::write_tag(std::string const& key, std::string const& value) {
    require_key(key);
    write_str(key, true);
    write_str(value, true);
}

void FileImp::start_tag(std::string const& key) {
    require_key(key);
    write_str(key, true);
    tag_length_ = 0;
    write(&tag_length_, sizeof tag_length_);
}

void FileImp::write_tag_data(char const* data, unsigned long n) {
    write(data, n);
    tag_length_ += static_cast<std::uint32_t>(n);
}

void FileImp::end_tag() {
    PositionGuard back(*this);
    seek(back.position() - tag_length_ - sizeof tag_length_);
    write(&tag_length_, sizeof tag_length_);
    back.restore();
}

void FileImp::write_tags(std::map<std::string, std::string> const& tags) {
    for (auto const& [key, value] : tags) write_tag(key, value);
}

void FileImp::write_sentinel_tag() { write_str({}, true); }

void FileImp::read_tags(std::map<std::string, std::string>& tags) {
    RecordReader(*this, tell(), end_position()).tag_list(tags);
}

std::string FileImp::read_tag(TagFileLocation location) {
    PositionGuard back(*this);
    seek(location.position);
    std::string value = RecordReader(*this, location.position, end_position()).text(location.length);
    back.restore();
    return value;
}

} // namespace Vexa::bf
