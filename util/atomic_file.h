// Whole-file reading and all-or-nothing replacement of small files.
//
// The feeder's files (SYMBOLS.DAT, the settings, the version profile) are a few kilobytes and are
// rewritten whole. A rewrite must never leave a torn file behind, whatever happens to the
// process or the machine in the middle of it: the reader at the next start would take the torn
// part for records or settings.
#ifndef QUOTLINK_UTIL_ATOMIC_FILE_H_
#define QUOTLINK_UTIL_ATOMIC_FILE_H_

#include <string>

#include "util/bytes.h"
#include "util/status.h"

namespace quotlink {

// What a read of a whole file found.
enum class FileRead { kRead, kMissing, kFailed };

// Reads the whole file at `path` into `*out` (replacing what it held). kMissing when no file of
// that name exists (`*out` is then empty); kFailed with the reason in `*error` (may be null) for
// any other failure.
FileRead ReadWholeFile(const std::string& path, ByteString* out, std::string* error);

// Replaces the content of the file at `path` with `content`, creating it when missing. The new
// content goes to a file beside it named `path` + ".tmp" (a stale one of that name is
// overwritten), which is flushed to the disk and then renamed over `path`; the folder is
// flushed last. On failure before the rename the old file stands untouched and the temporary
// file is removed.
Status ReplaceFileContent(const std::string& path, ByteView content);

}  // namespace quotlink

#endif  // QUOTLINK_UTIL_ATOMIC_FILE_H_
