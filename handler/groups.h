// The registration of the seven object groups: each group's list in registry/groups, parents first.
#pragma once

void init_norvalisAPDeviceList();
void init_norvalisAPRFInfo();
void init_norvalisAPVAPInfo();
void init_norvalisAPWDSInfo();
void init_norvalisAPStaInfo();
void init_norvalisNeighborhoodAPInfo();
void init_norvalisL2FirewallInfo();

// Builds the agent: state record, root, defaults, refresh, and the seven groups in arc order. There must be
// none, or free_agent must have run.
void init_norvalis();

// Registers the apply object alone, with the branch above it: all that there is while the store applies.
struct mib_node;
mib_node *register_apply_object();
