#pragma once

#include <filesystem>
#include <string>

#include <vexa/arrays/StackImp.h>
#include <vexa/bf/FileInterface.h>
#include <vexa/foundation/types.h>

namespace Vexa::testing {

/// Make a finished file with a stack of 2 x 3 bytes, all 7, and with this text in place of a document.
inline void write_file_with_document(std::filesystem::path const& path, std::string const& document) {
    auto const file = create_file(true);
    file->open(path, bf::DiskFile::Mode::create);
    file->set_write_metadata_cb([&] { file->write_tag("ome_xml", document); });
    arrays::StackImp stack(types::uint8, {2, 3});
    for (int i = 0; i < 6; ++i) static_cast<unsigned char*>(stack.get_data_ptr())[i] = 7;
    file->write_stack(&stack, 0);
    file->close();
    file->set_write_metadata_cb({});
}

} // namespace Vexa::testing
