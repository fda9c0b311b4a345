#pragma once

#include <string>

namespace quorvane::cli {

// The password for `user` on a remote host: QUORVANE_PASSWORD when set, else asked for on the
// terminal without echo; "" without a user.
std::string ReadPassword(const std::string& user);

}  // namespace quorvane::cli
