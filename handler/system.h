// The configuration groups of the system objects.
#pragma once

#include "handler/toolkit.h"

inline const Group DEVICE{"device", GID_DEVICE};
inline const Group SYSTIME{"systime", GID_SYSTIME};
inline const Group WAN_IP{"wan_ip", GID_WAN_IP};
inline const Group NETWORK_L2{"network_L2", GID_NETWORK_L2};
inline const Group SNMP{"snmp", GID_SNMP};
inline const Group SYSLOG{"syslog", GID_SYSLOG};
