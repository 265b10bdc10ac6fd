#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/lab/random_hex.h"
#include "pellion/lab_server/lab_request.h"

namespace pellion {

/// Keeps everything out except the page of the person who started the lab.
///
/// Other programs of this machine do not know the token. Other pages in the same browser know it neither, cannot read
/// the cookie that takes its place, and are recognised by the fields Origin and Sec-Fetch-Site; a name that leads to
/// this machine without being its own (DNS rebinding) by the field Host.
class LabAccess {
 public:
  /// Makes a new token.
  explicit LabAccess(std::uint16_t port);

  /// The address that opens the page.
  [[nodiscard]] std::string address() const;
  /// Cookies belong to a host and not to a port; two labs must not overwrite each other's.
  [[nodiscard]] const std::string& cookieName() const { return cookieName_; }
  /// The reply to a request that is refused, or that brings the token; nothing for one that may go on.
  [[nodiscard]] std::optional<LabReply> check(const LabRequest& request) const;

 private:
  [[nodiscard]] std::optional<LabReply> checkSource(const LabRequest& request) const;
  [[nodiscard]] std::optional<LabReply> checkChange(const LabRequest& request) const;
  [[nodiscard]] bool isToken(const std::optional<std::string>& text) const;
  [[nodiscard]] LabReply withoutToken(const LabRequest& request) const;

  std::vector<std::string> hosts_;
  std::string cookieName_;
  std::string token_ = randomHex(32);
};

}  // namespace pellion
