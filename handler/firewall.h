// The layer-2 firewall: what its rules ask of its services.
#pragma once

// True when a text is the name of a predefined or user-defined service. Case matters.
bool is_service_name(const char *text);
