#pragma once

#include "tarn/src/snmp/poll/session.h"

namespace tarn::snmp::test {

// A stand-in for Session that is driven by what the agent says. Identity takes three requests, Full
// two, Fast one. The last variable of the last answer becomes the status's model, and decides:
//   "printing..."  a printer that prints           "alert..."      one with an alert
//   "stranger"     Unusable                        "counter..."    NeedsFull to Fast, else a status
//   "restart..."   Restarted to Fast, else a status
//   anything else  an idle printer
// The requests carry the kind of read in their first name: 1.3.<careful>.<kind>, careful being 1 after the
// first onTimeout() in the middle of a read. accepted, where given, counts the answers that the
// sessions were handed.
SessionFactory fakeSessions(std::size_t* accepted = nullptr);

// The kind of read that a request belongs to.
engine::ReadKind kindOf(const Message& request);

bool isCareful(const Message& request);

} // namespace tarn::snmp::test
