// A small result for operations whose caller must act on a failure. Nothing in the project
// throws across a module boundary: a failed operation returns a Status with the error's text.
#ifndef QUOTLINK_UTIL_STATUS_H_
#define QUOTLINK_UTIL_STATUS_H_

#include <string>
#include <utility>

namespace quotlink {

class [[nodiscard]] Status {
 public:
  Status() = default;
  static Status Ok() { return Status(); }
  static Status Error(std::string message) { return Status(std::move(message)); }

  bool ok() const { return !failed_; }
  const std::string& message() const { return message_; }

 private:
  explicit Status(std::string message) : failed_(true), message_(std::move(message)) {}

  bool failed_ = false;
  std::string message_;
};

}  // namespace quotlink

#endif  // QUOTLINK_UTIL_STATUS_H_
