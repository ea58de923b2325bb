#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>

#include <vexa/json/XML_Reader.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Root.h>

/// Open a document in \p root; it stays empty for one that is refused by what reading may throw.
inline void open_document(std::uint8_t const* data, std::size_t size, std::optional<OME::Root>& root) {
    try {
        root.emplace(std::string(reinterpret_cast<char const*>(data), size));
    } catch (JSON::XML_Reader::Unexpected const&) {
    } catch (std::bad_variant_access const&) {
    } catch (OME::Invalid_Data const&) {
    } catch (std::invalid_argument const&) { // OME::Invalid_Argument, and numbers of earlier releases
    } catch (std::out_of_range const&) {     // such numbers, too
    }
}
