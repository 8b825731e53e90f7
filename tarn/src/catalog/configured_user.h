#pragma once

#include <json/value.h>

#include <memory>
#include <string>

#include "tarn/src/engine/usm_user.h"

namespace tarn::catalog {

// One of the configuration file's "users". Null, and why says it in a few words, none of them a password,
// when it is none.
std::shared_ptr<const engine::UsmUser> parseUser(const std::string& name, const Json::Value& value,
                                                 std::string& why);

} // namespace tarn::catalog
