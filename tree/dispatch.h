// From a request record to a reply record.
#pragma once

#include "registry/wire.h"

// Executes one request. The reply must be all zero; it is filled and returned. The request's texts must be
// terminated; its `set` text is rewritten.
snmp_reply *snmp_exec(snmp_reply *reply, snmp_request *request);
