// Application services on Linux: no advertising identifier, no in-app
// payments, and URL handlers from the desktop's MIME associations.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/ApplicationServices.h"

namespace rqb {

// The scheme of `url` in lower case ("cydia" of "cydia://package/x"), or
// nothing when the text does not start with one: a letter, then letters,
// digits, "+", "-" or ".", then ":".
std::optional<std::string> UrlScheme(std::string_view url);

// Whether the text of a MIME association file (mimeapps.list or
// mimeinfo.cache) names an application for `mime_type` in its [Default
// Applications], [Added Associations] or [MIME Cache] group.
bool AssociationsNameHandler(std::string_view associations, std::string_view mime_type);

class LinuxApplicationServices final : public ApplicationServices {
 public:
  // Linux has no advertising identifier.
  std::optional<std::string> AdvertisingIdentifier() const override;
  // Linux has no in-app payments.
  bool CanMakePayments() const override;
  // Whether an association file names an application for
  // "x-scheme-handler/<scheme>": mimeapps.list in $XDG_CONFIG_HOME and
  // $XDG_CONFIG_DIRS, mimeapps.list and mimeinfo.cache in the "applications"
  // folders of $XDG_DATA_HOME and $XDG_DATA_DIRS.
  bool CanOpenUrl(const std::string& url) const override;
};

}  // namespace rqb
