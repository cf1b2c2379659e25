// Where a quote goes on NATS: the subject of a symbol and the key of its last value.
//
// A symbol becomes one subject token by a rule that reverses (doc/nats_subjects.md): ASCII
// letters, digits, '-', '/' and '=' stand for themselves; every other byte, '_' included, is
// '_' and its value in two upper-case hex digits; the empty symbol is '_' alone. So every
// symbol has exactly one token, the token holds nothing that NATS reads as a separator, a
// wildcard or a blank, and it is a valid key of a key-value bucket too.
// DO NOT CHANGE the rule or the names below: consumers on other hosts compute them.
#ifndef QUOTLINK_PUBLISH_SUBJECT_H_
#define QUOTLINK_PUBLISH_SUBJECT_H_

#include <string>
#include <string_view>

namespace quotlink {

// The live quotes of a symbol go to kQuoteSubjectPrefix + its token.
inline constexpr std::string_view kQuoteSubjectPrefix = "quotlink.quote.";
// The key-value bucket that keeps the last quote of each symbol under its token.
inline constexpr std::string_view kLastValueBucket = "quotlink_last";
// A key-value put is a publish to this prefix + the key.
inline constexpr std::string_view kLastValueSubjectPrefix = "$KV.quotlink_last.";

// Appends the token of `symbol` (bytes as they are, not cleaned here) to `*out`.
void AppendSymbolToken(std::string_view symbol, std::string* out);
std::string SymbolToken(std::string_view symbol);

// The symbol whose token is `token`. False, leaving `*symbol` unspecified, when `token` is no
// symbol's token: a bad or lower-case escape, an escape of a byte that stands for itself, a
// byte outside the rule, or an empty token.
bool SymbolOfToken(std::string_view token, std::string* symbol);

}  // namespace quotlink

#endif  // QUOTLINK_PUBLISH_SUBJECT_H_
