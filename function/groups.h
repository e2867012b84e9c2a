// The registration of the seven object groups: each group's list in registry/groups, parents first.
#pragma once

void init_norvalisAPDeviceList();
void init_norvalisAPRFInfo();
void init_norvalisAPVAPInfo();
void init_norvalisAPWDSInfo();
void init_norvalisAPStaInfo();
void init_norvalisNeighborhoodAPInfo();
void init_norvalisL2FirewallInfo();
