#include "handler/groups.h"

#include <string>

#include "handler/objects.h"
#include "platform/device.h"
#include "registry/registry.h"
#include "tree/agent.h"
#include "tree/node.h"
#include "tree/trace.h"

#define BRANCH(oid) ALLOC_NODE(oid, TYPE_NONE, nullptr);
#define TABLE(oid, ...) BRANCH(oid)
#define OBJECT(oid, name, type, ...) ALLOC_NODE(oid, type, name);
#define SPECIAL(rule, ...) OBJECT(__VA_ARGS__)

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

void init_norvalisL2FirewallInfo(){
#include "registry/groups/l2_firewall_info.def"
}

mib_node *register_apply_object() {
    constexpr const Object *object = "APSysApplyConfig"_object;
    ALLOC_NODE(std::string(object->entry_oid()).c_str(), TYPE_NONE, nullptr);
    return ALLOC_NODE(object->oid, object->type, APSysApplyConfig);
}

void init_norvalis() {
    zevap = new agent_state{};
    forget_reports();
    TRACE_LOCATION("function", __func__);
    alloc_root();
    zevap->root = head;
    init_agent_defaults(zevap);
    update_zevap();
    // In this order managers see them.
    init_norvalisAPDeviceList();
    init_norvalisAPRFInfo();
    init_norvalisAPVAPInfo();
    init_norvalisAPWDSInfo();
    init_norvalisAPStaInfo();
    init_norvalisNeighborhoodAPInfo();
    init_norvalisL2FirewallInfo();
}
