#include "database/parse_feed_database.h"

#include "client/quotlinkbas.h"
#include "client/quotlinkfrm.h"
#include "database/feed_database.h"
#include "link/feed_requests.h"

namespace quotlink {

void ParseFeedDatabase(QUOTLINKBAS& bas, ByteView image) {
  QUOTLINKFRM& frm = bas.Form();
  const ByteString version = NumberToBytes(bas.VersionValue);
  // The parse runs in one stretch: each caption is painted as it is set.
  const ImageParse result =
      ParseFeedImage(image, version, &bas.feed_database, [&frm](std::string_view caption) {
        frm.Mensagem.SetCaption(caption);
        frm.Mensagem.Refresh();
      });
  switch (result.kind) {
    case ImageParseKind::kAccepted:
      break;
    case ImageParseKind::kWrongVersion:
      frm.ModalMessage("diferente database");
      bas.DatabasePending = 1;
      break;
    case ImageParseKind::kMalformed:
      frm.Mensagem.SetCaption("Database image refused - " + result.reason);
      frm.Mensagem.Refresh();
      bas.DatabasePending = 1;
      break;
  }
}

}  // namespace quotlink
