// A PNG writer for screenshots of the console: 8-bit RGB, no filter, deflate blocks stored
// uncompressed. Files are larger than they need be, but any viewer reads them.
#ifndef QUOTLINK_TESTS_WINDOW_PNG_WRITER_H_
#define QUOTLINK_TESTS_WINDOW_PNG_WRITER_H_

#include <cstdint>
#include <string>

namespace quotlink {

// Writes `rgb` (`width` * `height` pixels, 3 bytes each, rows from the top) to `path`.
// Returns false when the file can't be written.
bool WritePng(const std::string& path, int width, int height, const uint8_t* rgb);

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_WINDOW_PNG_WRITER_H_
