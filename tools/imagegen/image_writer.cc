#include "tools/imagegen/image_writer.h"

#include <algorithm>

#include "link/frame_format.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink {
namespace {

void PutFixed(ByteString* dst, ByteView text, size_t width, char pad) {
  const ByteView kept = text.substr(0, std::min(text.size(), width));
  dst->append(kept);
  dst->append(width - kept.size(), pad);
}

void PutCount(ByteString* dst, size_t n) {
  PutLittle16(dst, static_cast<uint16_t>(n));
}

void PutSigned16(ByteString* dst, int16_t v) {
  PutLittle16(dst, static_cast<uint16_t>(v));
}

void PutDatabase(ByteString* dst, const DatabaseLayout& db) {
  PutFixed(dst, db.key1, 4, '\0');
  PutFixed(dst, db.key2, 4, '\0');
  dst->append(12, '\0');  // three unread fields
  PutSigned16(dst, db.length_a);
  PutSigned16(dst, db.length_b);
  dst->append(8, '\0');  // unread
  PutLittle16(dst, db.sec_type);
  PutFixed(dst, db.name, 40, ' ');
  PutSigned16(dst, db.count_a);
  PutCount(dst, db.slots.size());
  for (const SlotLayout& slot : db.slots) {
    PutSigned16(dst, slot.format);
    PutSigned16(dst, slot.length);
    PutLittle32(dst, 0);  // two unread fields
    PutSigned16(dst, slot.name_index);
    PutLittle32(dst, 0);  // unread
  }
}

ByteString ImageFrame(uint8_t type, ByteView piece) {
  ByteString body(2, '\0');  // the body's code, unread by the feeder
  body.append(piece);
  return BuildFrame(type, body);
}

}  // namespace

ByteString WriteImage(const ImageLayout& layout) {
  ByteString image;
  PutFixed(&image, layout.version, 4, '\0');
  image.append(76, '\0');
  PutCount(&image, layout.field_names.size());
  for (const ByteString& name : layout.field_names)
    PutFixed(&image, name, 40, ' ');
  PutCount(&image, layout.sec_types.size());
  for (const SecTypeLayout& type : layout.sec_types) {
    PutSigned16(&image, type.id);
    PutFixed(&image, type.name, 40, ' ');
  }
  PutCount(&image, layout.databases.size());
  for (const DatabaseLayout& db : layout.databases)
    PutDatabase(&image, db);
  return image;
}

std::vector<ByteString> CutImageIntoFrames(ByteView image, size_t piece) {
  constexpr size_t kLargestPiece = 65535 - 2;
  if (piece == 0 || piece > kLargestPiece) piece = kLargestPiece;
  std::vector<ByteString> frames;
  frames.push_back(ImageFrame(kTypeImageFirst, image.substr(0, std::min(piece, image.size()))));
  for (size_t at = piece; at < image.size(); at += piece) {
    frames.push_back(ImageFrame(kTypeImagePiece, image.substr(at, piece)));
  }
  frames.push_back(ImageFrame(kTypeImageEnd, ByteView()));
  return frames;
}

}  // namespace quotlink
