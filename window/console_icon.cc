// The console's icon: a small quote screen with a rising line and the lamp below it, in a few
// plain colours so that it reads at 16 and at 32 pixels.
#include <cstdlib>

#include "window/fltk_console.h"

namespace quotlink {
namespace {

struct Rgb {
  unsigned char r, g, b;
};

constexpr Rgb kFace{192, 192, 192};  // the window background
constexpr Rgb kShadow{128, 128, 128};
constexpr Rgb kNavy{0, 0, 128};    // the screen
constexpr Rgb kCyan{0, 255, 255};  // the quote line and the lamp
constexpr Rgb kWhite{255, 255, 255};
constexpr Rgb kBlack{0, 0, 0};

class Canvas {
 public:
  explicit Canvas(std::array<unsigned char, 32 * 32 * 3>* px) : px_(px) {}
  void Set(int x, int y, Rgb c) {
    if (x < 0 || x >= 32 || y < 0 || y >= 32) return;
    unsigned char* p = px_->data() + (y * 32 + x) * 3;
    p[0] = c.r;
    p[1] = c.g;
    p[2] = c.b;
  }
  void Fill(int x0, int y0, int x1, int y1, Rgb c) {
    for (int y = y0; y <= y1; ++y)
      for (int x = x0; x <= x1; ++x)
        Set(x, y, c);
  }
  // A line two pixels thick, from (x0, y0) to (x1, y1), by Bresenham.
  void Line(int x0, int y0, int x1, int y1, Rgb c) {
    const int dx = std::abs(x1 - x0), sx = x0 < x1 ? 1 : -1;
    const int dy = -std::abs(y1 - y0), sy = y0 < y1 ? 1 : -1;
    int err = dx + dy;
    for (;;) {
      Set(x0, y0, c);
      Set(x0, y0 + 1, c);
      if (x0 == x1 && y0 == y1) return;
      const int e2 = 2 * err;
      if (e2 >= dy) err += dy, x0 += sx;
      if (e2 <= dx) err += dx, y0 += sy;
    }
  }

 private:
  std::array<unsigned char, 32 * 32 * 3>* px_;
};

}  // namespace

std::array<unsigned char, 32 * 32 * 3> ConsoleIconPixels() {
  std::array<unsigned char, 32 * 32 * 3> px{};
  Canvas c(&px);
  c.Fill(0, 0, 31, 31, kFace);
  // A raised panel: light top-left edge, dark bottom-right edge.
  c.Fill(0, 0, 31, 0, kWhite);
  c.Fill(0, 0, 0, 31, kWhite);
  c.Fill(0, 31, 31, 31, kBlack);
  c.Fill(31, 0, 31, 31, kBlack);
  c.Fill(1, 30, 30, 30, kShadow);
  c.Fill(30, 1, 30, 30, kShadow);
  // The screen, sunken.
  c.Fill(3, 3, 28, 3, kShadow);
  c.Fill(3, 3, 3, 21, kShadow);
  c.Fill(4, 4, 28, 21, kNavy);
  c.Fill(4, 21, 28, 21, kWhite);
  c.Fill(28, 4, 28, 21, kWhite);
  // The quote line, up and down and up.
  c.Line(5, 17, 10, 11, kCyan);
  c.Line(10, 11, 14, 14, kCyan);
  c.Line(14, 14, 20, 7, kCyan);
  c.Line(20, 7, 26, 9, kCyan);
  // The lamp: a round cyan light with a dark ring.
  for (int y = 22; y <= 30; ++y) {
    for (int x = 11; x <= 20; ++x) {
      const int d = (2 * x - 31) * (2 * x - 31) + (2 * y - 52) * (2 * y - 52);
      if (d <= 49)
        c.Set(x, y, kCyan);
      else if (d <= 81)
        c.Set(x, y, kBlack);
    }
  }
  return px;
}

}  // namespace quotlink
