#pragma once

#include <filesystem>

#include "formats/archive/unpacking_options.h"
#include "platform/confined_folder.h"

namespace pellam::archive {

// Unpacks a zip archive into the destination folder, which is made with its parents when it does not exist.
//
// The archive is judged as a whole first. Its content is then made in a hidden folder inside the destination,
// which nobody else may enter, every file checked against its size and checksum, links last, so that nothing
// is ever written through a link. Only a complete content moves into place, each name by one rename on the
// same volume that overwrites nothing. On any failure the destination is as it was before: the hidden folder,
// what moved already and folders made for the destination are removed again.
//
// Permissions are those of the archive under the process's umask, the owner always able to read; set-user,
// set-group and sticky bits are dropped. Modification times are kept. Nothing is flushed to the disk.
//
// Throws ArchiveError for what is wrong with the archive or already at the destination, std::system_error
// when the system fails (no space left). Blocks for the whole time; uses several threads.
void unpackZipArchive(FolderOpening& folders, const std::filesystem::path& archive,
                      const std::filesystem::path& destination, const UnpackingOptions& options = {});

}  // namespace pellam::archive
