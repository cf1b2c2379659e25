#include "tools/feedsim/responder.h"

#include <algorithm>

#include "tools/feedsim/quote_encoding.h"
#include "tools/feedsim/sim_format.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink::feedsim {

bool RequestReader::Next(Request* out) {
  const size_t lead = pending_.find(static_cast<char>(kRequestLeadByte));
  if (lead == ByteString::npos) {
    dropped_ += pending_.size();
    pending_.clear();
    return false;
  }
  if (lead > 0) {
    dropped_ += lead;
    pending_.erase(0, lead);
  }
  if (pending_.size() < kRequestSize) return false;
  out->code = ByteAt(pending_, 1);
  out->data = pending_.substr(2, 4);
  pending_.erase(0, kRequestSize);
  return true;
}

ByteString Responder::VersionFor(ByteView asked) const {
  const ByteString& own = options_.versions.front();
  if (options_.wrong_version) {
    if (asked != own) return own;
    ByteString other = own;
    other[3] = static_cast<char>(ByteAt(other, 3) + 1);
    return other;
  }
  const bool held = std::find(options_.versions.begin(), options_.versions.end(), asked) !=
                    options_.versions.end();
  return held ? ByteString(asked) : own;
}

Answer Responder::Handle(const Request& r) {
  Answer a;
  switch (r.code) {
    case 5: {
      a.image = true;
      a.frames = CutImageIntoFrames(universe_->Image(VersionFor(r.data)), options_.image_piece);
      if (options_.image_stop_after > 0 &&
          a.frames.size() > static_cast<size_t>(options_.image_stop_after)) {
        a.frames.resize(static_cast<size_t>(options_.image_stop_after));
      }
      break;
    }
    case 11:
      key_ = ByteString(r.data);
      break;
    case 7:
    case 33: {
      const Instrument* inst = universe_->Find(key_, r.Number());
      if (inst == nullptr) {
        ++unanswered_;
        break;
      }
      if (r.code == 7) {
        a.frames.push_back(QuotePacket(key_, kFormFullRecord, universe_->HeadWidth(inst->kind),
                                       {PositionalQuote(*universe_, *inst, true)}));
      } else {
        a.frames.push_back(RecordPacket(key_, inst->code, EncodeRecord(*universe_, *inst, true),
                                        options_.wide_records));
      }
      break;
    }
    case 14:
      a.frames.push_back(StatusPacket(kStatusRefreshOn));
      break;
    case 28:
      a.frames.push_back(StatusPacket(kStatusWatchListCleared));
      break;
    case 13:
      break;  // the feeder's notice that its image has arrived
    default:
      ++unanswered_;
      break;
  }
  return a;
}

}  // namespace quotlink::feedsim
