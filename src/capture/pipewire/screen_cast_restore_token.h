#pragma once

#include <optional>
#include <string>

namespace tarvelo {

// Where the screen-cast portal's restore token is kept between runs, so that
// the desktop asks the user to share a screen once, not at every start. The
// token is an opaque text of the portal's; it is never shown.
//
// Called on the capture queue of the stream being started.
class RestoreTokenStore {
 public:
  virtual ~RestoreTokenStore() = default;
  // The token the portal last handed out, if any.
  virtual std::optional<std::string> restoreToken() = 0;
  // The portal's new token, replacing the old one (a token is good for one use).
  virtual void storeRestoreToken(const std::string& token) = 0;
  // Drops the kept token: the desktop no longer honours it (the user refused
  // the dialog it brought back), so it no longer stands for a grant.
  virtual void forgetRestoreToken() = 0;
};

}  // namespace tarvelo
