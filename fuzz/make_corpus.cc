// Writes the seed corpora of the fuzz targets into fuzz/corpus/<target>/ below the folder given
// (the source tree): the simulator's frames and image, the quote tests' image, and files as the
// feeder writes them. Usage: fuzz_make_corpus SOURCE_DIR
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "client/symbols_file.h"
#include "fuzz/fuzz_support.h"
#include "link/frame_format.h"
#include "tests/support/quote_frames.h"
#include "tools/feedsim/quote_encoding.h"
#include "tools/imagegen/frame_writer.h"
#include "tools/imagegen/image_writer.h"

namespace quotlink::fuzz {
namespace {

std::string root;

void Write(const std::string& target, const std::string& name, ByteView bytes) {
  const std::filesystem::path dir = std::filesystem::path(root) / "fuzz/corpus" / target;
  std::filesystem::create_directories(dir);
  std::ofstream(dir / name, std::ios::binary).write(bytes.data(), std::ssize(bytes));
}

ByteString Be16(size_t v) {
  return ByteString{static_cast<char>(v >> 8 & 0xFF), static_cast<char>(v & 0xFF)};
}

// The body of a whole frame.
ByteView Body(ByteView frame) {
  return frame.substr(kFrameHeaderSize, frame.size() - kFrameOverhead);
}

// Frames of the simulator: `n` quote packets and a record packet of each width.
std::vector<ByteString> SimulatorFrames(uint64_t seed, int n) {
  feedsim::Universe u = DefaultUniverse();
  feedsim::QuoteStream stream(&u, seed);
  std::vector<ByteString> frames;
  for (int i = 0; i < n; ++i)
    frames.push_back(stream.NextPacket(nullptr));
  for (size_t i = 0; i < u.size(); i += 5) {
    const feedsim::Instrument& inst = u.at(i);
    frames.push_back(feedsim::RecordPacket(u.WireKey(inst.kind), inst.code,
                                           feedsim::EncodeRecord(u, inst, true), i % 2 == 1));
  }
  return frames;
}

// The intake's form: the pieces' paths and lengths first, then their bytes.
ByteString Pieces(const std::vector<std::pair<bool, ByteString>>& pieces) {
  ByteString head(1, static_cast<char>(pieces.size() - 1)), tail;
  for (const auto& [udp, bytes] : pieces) {
    head += static_cast<char>(udp ? 1 : 0) + Be16(bytes.size());
    tail += bytes;
  }
  return head + tail;
}

void Intake() {
  const std::vector<ByteString> frames = SimulatorFrames(1, 6);
  ByteString all = TestPacket() + StatusPacket(12);
  for (const ByteString& f : frames)
    all += f;
  Write("fuzz_intake", "tcp_one_read", Pieces({{false, all}}));
  // The same bytes cut inside frames, as a stream socket may hand them over.
  Write("fuzz_intake", "tcp_cut_reads",
        Pieces({{false, all.substr(0, 5)}, {false, all.substr(5, 40)}, {false, all.substr(45)}}));
  std::vector<std::pair<bool, ByteString>> datagrams;
  for (const ByteString& f : SimulatorFrames(2, 4))
    datagrams.emplace_back(true, f);
  Write("fuzz_intake", "udp_datagrams", Pieces(datagrams));
  std::vector<std::pair<bool, ByteString>> mixed;
  const std::vector<ByteString> more = SimulatorFrames(3, 4);
  for (size_t i = 0; i < more.size(); ++i)
    mixed.emplace_back(i % 2 == 1, more[i]);
  Write("fuzz_intake", "mixed_paths", Pieces(mixed));
}

void Packets() {
  const auto seq = [](const std::vector<ByteString>& frames) {
    ByteString out;
    for (const ByteString& f : frames) {
      const uint8_t type = static_cast<uint8_t>(f[1]);
      out += static_cast<char>(type == 20 ? 0 : type == 13 ? 1 : 2) + Be16(Body(f).size());
      out.append(Body(f));
    }
    return out;
  };
  for (uint64_t seed = 1; seed <= 4; ++seed)
    Write("fuzz_packets", "simulator_" + std::to_string(seed), seq(SimulatorFrames(seed, 8)));
}

void Image() {
  const ByteString good = GoodImage();
  Write("fuzz_image", "simulator_image", good);
  ImageLayout test = TestImageLayout();
  test.version = kImageVersion;
  Write("fuzz_image", "test_image", WriteImage(test));
  Write("fuzz_image", "cut_short", good.substr(0, good.size() / 2));
  ImageLayout names_only;
  names_only.field_names = {"SYMBOL", "LAST"};
  Write("fuzz_image", "names_only", WriteImage(names_only));
}

void Files() {
  SimboloTable table;
  table.ReplaceAll(EquityTable(3));
  ByteString symbols;
  for (int32_t i = 1; i <= table.size(); ++i)
    EncodeSymbolRecord(table.at(i), &symbols);
  const ByteString settings = "127.0.0.1\r\n 21560 \r\n 20547 \r\n";
  const ByteString profile =
      "[DATABASE]\r\nVersion=&H09030001\r\n; a comment\r\n\r\n[Other]\r\nK=v\r\n";
  const auto file = [](ByteView sym, ByteView set, ByteView section, ByteView key, ByteView value,
                       ByteView ini) {
    ByteString out = Be16(sym.size()) + ByteString(sym) + Be16(set.size()) + ByteString(set);
    out += static_cast<char>(section.size());
    out += static_cast<char>(key.size());
    out += static_cast<char>(value.size());
    out += ByteString(section) + ByteString(key) + ByteString(value) + ByteString(ini);
    return out;
  };
  Write("fuzz_files", "as_written",
        file(symbols, settings, "DATABASE", "Version", "&H09030002", profile));
  Write("fuzz_files", "new_key",
        file(symbols.substr(0, 150), "10.0.0.1, 1, -2", "New", "Key", " spaced ", profile));
  Write("fuzz_files", "empty", file("", "", "S", "K", "V", ""));
}

}  // namespace
}  // namespace quotlink::fuzz

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: fuzz_make_corpus SOURCE_DIR\n");
    return 2;
  }
  quotlink::fuzz::root = argv[1];
  quotlink::fuzz::Intake();
  quotlink::fuzz::Packets();
  quotlink::fuzz::Image();
  quotlink::fuzz::Files();
  return 0;
}
