#pragma once

#include "tarn/src/snmp/session.h"

namespace tarn::engine::test {

// A stand-in for snmp::Session that is driven by what the agent says. Identity takes three requests, Full
// two, Fast one. The last variable of the last answer becomes the picture's model, and decides:
//   "printing..."  a printer that prints           "alert..."      one with an alert
//   "stranger"     Unusable                        "counter..."    NeedsFull to Fast, else a picture
//   "restart..."   Restarted to Fast, else a picture
//   anything else  an idle printer
// The requests carry the kind of read in their first name: 1.3.<careful>.<kind>, careful being 1 after the
// first onTimeout() in the middle of a read. accepted, where given, counts the answers that the
// sessions were handed.
snmp::SessionFactory fakeSessions(std::size_t* accepted = nullptr);

// The kind of read that a request belongs to.
snmp::ReadKind kindOf(const snmp::Message& request);

bool isCareful(const snmp::Message& request);

} // namespace tarn::engine::test
