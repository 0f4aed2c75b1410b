#pragma once
// Whole files of ordinary users: read at once, or replaced so that nothing is lost on the way.

#include <string>
#include <string_view>

namespace kt3::support {

// What an open file holds from its position on. A read error ends the text.
std::string read_to_end(int file);

// Makes `text` the content of the file at `path`. False only when the path cannot be opened for writing; then
// nothing has changed.
//
// A regular file of one name in a writable folder, or one that does not exist yet, is replaced by renaming: a crash or
// a full disk leaves the old or the new text, never less. Symbolic links stay and their target is replaced; mode and,
// where permitted, owner stay. Everything else (several names, devices, a read-only folder) is written in place, with
// space reserved first and the end cut last, so that a crash leaves no less text than there was.
bool replace_file(const char* path, std::string_view text);

} // namespace kt3::support
