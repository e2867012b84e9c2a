#include "function/groups.h"

#include <algorithm>
#include <cstring>

#include "function/agent.h"
#include "function/node.h"
#include "handler/objects.h"

#define BRANCH(oid) ALLOC_NODE(oid, TYPE_NONE, nullptr);
#define OBJECT(oid, name, type, ...) ALLOC_NODE(oid, type, name);

void init_norvalisAPDeviceList() {
#include "registry/groups/ap_device_list.def"
}

void init_norvalisAPRFInfo() {
#include "registry/groups/ap_rf_info.def"
}

void init_norvalisAPVAPInfo() {
#include "registry/groups/ap_vap_info.def"
}

void init_norvalisAPWDSInfo() {
#include "registry/groups/ap_wds_info.def"
}

void init_norvalisAPStaInfo() {
#include "registry/groups/ap_sta_info.def"
}

void init_norvalisNeighborhoodAPInfo() {
#include "registry/groups/neighborhood_ap_info.def"
}

void init_norvalisL2FirewallInfo() {
#include "registry/groups/l2_firewall_info.def"
}

#undef BRANCH
#undef OBJECT

void register_groups(int (&groups)[7]) {
    std::sort(std::begin(groups), std::end(groups));
    for (const int group : groups) {
        switch (group) {
            case 1:
                init_norvalisAPDeviceList();
                break;
            case 2:
                init_norvalisAPRFInfo();
                break;
            case 3:
                init_norvalisAPVAPInfo();
                break;
            case 4:
                init_norvalisAPWDSInfo();
                break;
            case 5:
                init_norvalisAPStaInfo();
                break;
            case 6:
                init_norvalisNeighborhoodAPInfo();
                break;
            case 7:
                init_norvalisL2FirewallInfo();
                break;
            default:
                break;
        }
    }
}
