#include "database/parse_feed_database.h"

namespace quotlink {

bool ParseFeedDatabase(FeedDatabase* database, ConsoleSurface* console, ByteView image,
                       ByteView version) {
  // The parse runs in one stretch: each caption is painted as it is set.
  const ImageParse result =
      ParseFeedImage(image, version, database, [console](std::string_view caption) {
        console->Mensagem.SetCaption(caption);
        console->Mensagem.Refresh();
      });
  switch (result.kind) {
    case ImageParseKind::kAccepted:
      return true;
    case ImageParseKind::kWrongVersion:
      console->ModalMessage("diferente database");
      return false;
    case ImageParseKind::kMalformed:
      console->Mensagem.SetCaption("Database image refused - " + result.reason);
      console->Mensagem.Refresh();
      return false;
  }
  return false;
}

}  // namespace quotlink
