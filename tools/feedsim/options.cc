#include "tools/feedsim/options.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace quotlink::feedsim {
namespace {

bool ParseWhole(const std::string& text, int64_t lo, int64_t hi, int64_t* out) {
  int64_t v = 0;
  const char* end = text.data() + text.size();
  auto [p, ec] = std::from_chars(text.data(), end, v);
  if (ec != std::errc() || p != end || text.empty() || v < lo || v > hi) return false;
  *out = v;
  return true;
}

bool ParseSeconds(const std::string& text, double* out) {
  double v = 0;
  const char* end = text.data() + text.size();
  auto [p, ec] = std::from_chars(text.data(), end, v);
  if (ec != std::errc() || p != end || text.empty() || !std::isfinite(v) || v < 0) return false;
  *out = v;
  return true;
}

// Eight hex digits, optionally behind "&H" or "0x": 09030001 is the bytes 09 03 00 01.
bool ParseVersion(std::string text, ByteString* out) {
  if (text.rfind("&H", 0) == 0 || text.rfind("0x", 0) == 0) text = text.substr(2);
  if (text.size() != 8) return false;
  ByteString v;
  for (size_t i = 0; i < 8; i += 2) {
    unsigned byte = 0;
    auto [p, ec] = std::from_chars(text.data() + i, text.data() + i + 2, byte, 16);
    if (ec != std::errc() || p != text.data() + i + 2) return false;
    v.push_back(static_cast<char>(byte));
  }
  *out = v;
  return true;
}

std::vector<std::string> SplitList(const std::string& text) {
  std::vector<std::string> parts;
  size_t start = 0;
  for (;;) {
    const size_t comma = text.find(',', start);
    parts.push_back(text.substr(start, comma - start));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return parts;
}

bool ParseSymbol(const std::string& text, SymbolChoice* out) {
  const size_t colon = text.find(':');
  out->name = text.substr(0, colon);
  if (colon == std::string::npos) return !out->name.empty();
  const std::string kind = text.substr(colon + 1);
  out->kind_given = true;
  if (kind == "fut")
    out->kind = InstrumentKind::kFuture;
  else if (kind == "spot")
    out->kind = InstrumentKind::kSpot;
  else if (kind == "opt")
    out->kind = InstrumentKind::kOption;
  else if (kind == "eq")
    out->kind = InstrumentKind::kEquity;
  else
    return false;
  return !out->name.empty();
}

}  // namespace

std::string HelpText() {
  return R"(Usage: quotlink-feedsim [OPTION]...
A feed server for trying out the feeder: listens for one client on TCP, greets it with the test
packet, answers its requests (14, 28, 5, 11+7, 11+33) and streams quote packets (type 20) on UDP
and TCP. A new connection replaces the old one.

Connection:
  --listen HOST:PORT      where to listen (default 127.0.0.1:21560)
  --udp-port N            the client's UDP port; datagrams go to the client's address (20547)

Stream:
  --rate N                quotes per second; 0 = as fast as the link takes them (default 200)
  --count N               stop streaming after N quotes (default: never)
  --path tcp|udp|both     where quote packets go; both = alternately (default both)
  --no-stream             send no quote packets, only answer requests
  --symbols LIST          comma-separated NAME or NAME:KIND, KIND one of fut, spot, opt, eq
                          (default: ES,NQ,YM,ZB,ZN,CL,GC,EURUSD,USDJPY,ES4500C,IBM,MSFT;
                          unknown names are equities unless a kind is given)
  --seed N                seed of the random walk (default 1)
  --new-day-every S       start a new trading day every S seconds: volumes fall to 0
  --version V[,V...]      image versions held, 8 hex digits; the first is the own version, sent
                          for any version not held (default 09030001)
  --image-piece N         image bytes per frame, 1 to 65533 (default 400)
  --wide-records          answer request 33 with type 28 (4-byte code) instead of type 13

Faults:
  --garbage               random bytes (never the frame marker) between some frames
  --split-datagrams       cut the UDP stream across datagrams regardless of frame bounds
  --wrong-version         every image carries a version other than the one asked for
  --image-stop-after N    an image transfer breaks off after N frames
  --image-slow MS         wait MS milliseconds between the frames of an image
  --stall                 now and then a frame that claims a 1-byte body
  --overflow-burst        5 s after connecting, over 180000 bytes without a frame marker on TCP
  --drop-after S          close the client's connection S seconds after it came

Hostile (one at a time, to see the feeder keep within its bounds):
  --hostile MODE          huge-lengths: now and then a frame header claiming a 65535-byte body
                            and no body behind it, on both paths
                          no-marker: instead of quotes, endless bytes without a frame marker on
                            TCP and UDP
                          trickle: everything on TCP goes out one byte at a time
                          endless-image: an image's first piece, then pieces without end
                          reset-mid-image: half of the image, then the connection reset
                          never-read: once the image is asked for, nothing more is read from
                            the client, so its requests pile up

Replay and capture:
  --replay FILE           instead of streaming, send FILE to each client: a capture of --record
                          at its own pace, or a feeder's temp.txt (its frames, on TCP)
  --fast                  replay as fast as the link takes it
  --record FILE           write everything sent to FILE (doc/capture_format.md)

Other:
  --status-every S        seconds between status lines on stderr (default 5; 0 = none)
  -h, --help              this text

Commands on stdin, one a line: newday, status, quit. SIGINT and SIGTERM end the program.
Exit status: 0 after quit or a signal, 1 when it can't listen or open a file, 2 on a bad option.
)";
}

ParseResult ParseOptions(const std::vector<std::string>& args, SimOptions* out,
                         std::string* error) {
  SimOptions o;
  for (size_t i = 0; i < args.size(); ++i) {
    std::string name = args[i];
    std::string value;
    bool has_value = false;
    const size_t eq = name.find('=');
    if (name.rfind("--", 0) == 0 && eq != std::string::npos) {
      value = name.substr(eq + 1);
      name = name.substr(0, eq);
      has_value = true;
    }
    auto flag = [&](bool* target) {
      if (has_value) {
        *error = "option " + name + " takes no value";
        return false;
      }
      *target = true;
      return true;
    };
    auto need = [&]() {
      if (has_value) return true;
      if (i + 1 >= args.size()) {
        *error = "option " + name + " needs a value";
        return false;
      }
      value = args[++i];
      return true;
    };
    auto bad = [&](const std::string& what) {
      *error = "bad value '" + value + "' for " + name + ": " + what;
      return ParseResult::kError;
    };
    int64_t n = 0;
    if (name == "-h" || name == "--help") return ParseResult::kHelp;
    if (name == "--garbage") {
      if (!flag(&o.garbage)) return ParseResult::kError;
    } else if (name == "--split-datagrams") {
      if (!flag(&o.split_datagrams)) return ParseResult::kError;
    } else if (name == "--wrong-version") {
      if (!flag(&o.responder.wrong_version)) return ParseResult::kError;
    } else if (name == "--stall") {
      if (!flag(&o.stall)) return ParseResult::kError;
    } else if (name == "--overflow-burst") {
      if (!flag(&o.overflow_burst)) return ParseResult::kError;
    } else if (name == "--fast") {
      if (!flag(&o.fast)) return ParseResult::kError;
    } else if (name == "--wide-records") {
      if (!flag(&o.responder.wide_records)) return ParseResult::kError;
    } else if (name == "--no-stream") {
      bool no_stream = false;
      if (!flag(&no_stream)) return ParseResult::kError;
      o.stream = false;
    } else if (name == "--listen") {
      if (!need()) return ParseResult::kError;
      const size_t colon = value.rfind(':');
      if (colon == std::string::npos || colon == 0 ||
          !ParseWhole(value.substr(colon + 1), 0, 65535, &n)) {
        return bad("expected HOST:PORT");
      }
      o.listen_host = value.substr(0, colon);
      o.listen_port = static_cast<int>(n);
    } else if (name == "--udp-port") {
      if (!need()) return ParseResult::kError;
      if (!ParseWhole(value, 1, 65535, &n)) return bad("expected a port, 1 to 65535");
      o.udp_port = static_cast<int>(n);
    } else if (name == "--rate") {
      if (!need()) return ParseResult::kError;
      if (!ParseSeconds(value, &o.rate)) return bad("expected a number, 0 or more");
    } else if (name == "--count") {
      if (!need()) return ParseResult::kError;
      if (!ParseWhole(value, 1, std::numeric_limits<int64_t>::max(), &o.count)) {
        return bad("expected a whole number, 1 or more");
      }
    } else if (name == "--path") {
      if (!need()) return ParseResult::kError;
      if (value == "tcp")
        o.path = StreamPath::kTcp;
      else if (value == "udp")
        o.path = StreamPath::kUdp;
      else if (value == "both")
        o.path = StreamPath::kBoth;
      else
        return bad("expected tcp, udp or both");
    } else if (name == "--symbols") {
      if (!need()) return ParseResult::kError;
      for (const std::string& part : SplitList(value)) {
        SymbolChoice choice;
        if (!ParseSymbol(part, &choice))
          return bad("expected NAME or NAME:KIND (fut, spot, opt, eq)");
        o.symbols.push_back(choice);
      }
    } else if (name == "--seed") {
      if (!need()) return ParseResult::kError;
      if (!ParseWhole(value, 0, std::numeric_limits<int64_t>::max(), &n)) {
        return bad("expected a whole number");
      }
      o.seed = static_cast<uint64_t>(n);
    } else if (name == "--new-day-every") {
      if (!need()) return ParseResult::kError;
      if (!ParseSeconds(value, &o.new_day_every)) return bad("expected seconds, 0 or more");
    } else if (name == "--status-every") {
      if (!need()) return ParseResult::kError;
      if (!ParseSeconds(value, &o.status_every)) return bad("expected seconds, 0 or more");
    } else if (name == "--version") {
      if (!need()) return ParseResult::kError;
      o.responder.versions.clear();
      for (const std::string& part : SplitList(value)) {
        ByteString v;
        if (!ParseVersion(part, &v)) return bad("expected 8 hex digits, such as 09030001");
        o.responder.versions.push_back(v);
      }
    } else if (name == "--image-piece") {
      if (!need()) return ParseResult::kError;
      if (!ParseWhole(value, 1, 65533, &n)) return bad("expected 1 to 65533");
      o.responder.image_piece = static_cast<size_t>(n);
    } else if (name == "--image-stop-after") {
      if (!need()) return ParseResult::kError;
      if (!ParseWhole(value, 1, 1000000, &n)) return bad("expected a whole number, 1 or more");
      o.responder.image_stop_after = static_cast<int>(n);
    } else if (name == "--image-slow") {
      if (!need()) return ParseResult::kError;
      if (!ParseWhole(value, 0, 600000, &n)) return bad("expected milliseconds, 0 to 600000");
      o.image_slow_ms = static_cast<int>(n);
    } else if (name == "--drop-after") {
      if (!need()) return ParseResult::kError;
      if (!ParseSeconds(value, &o.drop_after)) return bad("expected seconds, 0 or more");
    } else if (name == "--hostile") {
      if (!need()) return ParseResult::kError;
      if (!ParseHostileMode(value, &o.hostile))
        return bad(std::string("expected ") + HostileModeNames());
    } else if (name == "--replay") {
      if (!need()) return ParseResult::kError;
      if (value.empty()) return bad("expected a file name");
      o.replay_file = value;
    } else if (name == "--record") {
      if (!need()) return ParseResult::kError;
      if (value.empty()) return bad("expected a file name");
      o.record_file = value;
    } else {
      *error = "unknown option '" + args[i] + "' (try --help)";
      return ParseResult::kError;
    }
  }
  if (o.fast && o.replay_file.empty()) {
    *error = "--fast needs --replay";
    return ParseResult::kError;
  }
  Universe probe;
  if (!Universe::Build(o.symbols, &probe, error)) {
    *error = "bad value for --symbols: " + *error;
    return ParseResult::kError;
  }
  *out = std::move(o);
  return ParseResult::kRun;
}

}  // namespace quotlink::feedsim
