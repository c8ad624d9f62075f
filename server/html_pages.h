#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "device_store.h"
#include "pairing_query.h"

namespace pellum::server {

// `text` with &, <, >, " and ' as character references.
std::string htmlEscape(std::string_view text);

// The account home: every paired device, the active ones with a revoke button.
std::string homePage(const std::vector<Device>& devices, std::string_view formToken);

// Asks the user to approve a device; the form posts back every pairing value.
std::string pairingPage(const PairingQuery& query, std::string_view formToken);

// A short page with a heading and one sentence (errors, confirmations).
std::string messagePage(std::string_view title, std::string_view text);

}  // namespace pellum::server
