#pragma once

#include <json/value.h>

#include <memory>
#include <string>

#include "tarn/src/catalog/config_complaints.h"
#include "tarn/src/engine/usm_user.h"

namespace tarn::catalog {

// One of the configuration file's "users". Null, and complained about, when it is none that can be used: a
// user with a member left out would be another one. An unknown key costs a complaint alone.
std::shared_ptr<const engine::UsmUser> parseUser(const std::string& name, const Json::Value& value,
                                                 ConfigComplaints& complaints);

} // namespace tarn::catalog
