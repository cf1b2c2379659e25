// A client object's quote as JSON: the object that `quotlink watch --json` prints, and the first
// members of what a published quote carries. DO NOT CHANGE the keys or their order: programs on
// other hosts read them.
#ifndef QUOTLINK_CLIENT_QUOTE_JSON_H_
#define QUOTLINK_CLIENT_QUOTE_JSON_H_

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace quotlink {

// The keys of the 14 float values, in the object's order.
inline constexpr std::array<std::string_view, 14> kQuoteFloatKeys = {
    "Last",  "LastS", "Bid", "BidS",     "Ask",  "AskS", "Change",
    "OpenV", "High",  "Low", "Previous", "OInt", "Vol",  "TimeV"};

// Appends `s` as a JSON string. Bytes are bytes: `"` and `\` are escaped, and every byte outside
// printable ASCII is written as \u00XX of its own value.
void AppendJsonString(std::string* out, std::string_view s);

// Appends `v` as the shortest text that reads back to the same float; null for what JSON has no
// number for (infinities, NaN).
void AppendJsonFloat(std::string* out, float v);

// Appends the object's opening and its members "Simbolo", the floats (in the order of
// kQuoteFloatKeys), "Flag" and "ComunicationOK", without the closing brace, so that a caller may
// add members of its own.
void AppendQuoteMembers(std::string* out, std::string_view simbolo,
                        const std::array<float, 14>& floats, int16_t flag, int16_t comunication_ok);

}  // namespace quotlink

#endif  // QUOTLINK_CLIENT_QUOTE_JSON_H_
