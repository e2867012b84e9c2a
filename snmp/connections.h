// The TCP connections of managers to an agent that listens itself. The library keeps each until its manager
// closes it and waits for as long as one does not read; here their number has a bound, so that the
// descriptors suffice for everybody else, and none is waited for.
#pragma once

#include "snmp/netsnmp.h"

// To be called before the library knows of `listening`. When one more than 64 connections comes (fewer with
// fewer descriptors), the one goes that was answered, or made, longest ago. So does one that cannot take an
// answer at once.
void bound_connections(netsnmp_transport *listening);
