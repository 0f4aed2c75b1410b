// SPDX-License-Identifier: MIT
#pragma once
// Whole files of ordinary users: read at once, or replaced so that nothing is lost on the way. Which files are opened
// and which links are followed is decided by open_named.

#include <string>
#include <string_view>

namespace kt3::support {

enum class ReadResult {
    whole,
    absent,     // there is no file of that name
    unreadable, // there is one, and it cannot be opened or read to its end
};

struct WholeText {
    ReadResult result = ReadResult::absent;
    std::string text; // empty unless the file was read whole; a folder reads as an empty file
};

WholeText read_whole(const char* path);

enum class SaveResult {
    saved,
    not_opened,  // there is no way to write at that path; nothing has changed
    not_written, // the old text stays, unless a disk failed while the file was written in place
};

// Makes `text` the content of the file at `path`.
//
// A regular file of one name in a writable folder, or one that does not exist yet, is replaced by renaming: a crash or
// a full disk leaves the old or the new text, never less. Symbolic links stay and their target is replaced; owner,
// group, mode and extended attributes stay. Where they could not, and for everything else (several names, a read-only
// folder, a mount point), the file is written in place, with space reserved first and the end cut last, so that a crash
// leaves no less text than there was.
SaveResult replace_file(const char* path, std::string_view text);

} // namespace kt3::support
