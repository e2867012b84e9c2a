// The headers of the agent library, in the order that they want.
#pragma once

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <net-snmp/agent/mib_modules.h>

#include <net-snmp/agent/agent_callbacks.h>

#include <net-snmp/library/large_fd_set.h>
