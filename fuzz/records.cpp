// Requests to the whole tree in one process, on a store in memory that holds the demo's configuration. Lines:
//   g OID   n OID   s OID TYPE VALUE     a request; the OID is relative
//   i GROUP KEY VALUE                    an item of the store from here on
//   t TEXT                               a line that tools print
#include <cstring>
#include <map>
#include <memory>
#include <sstream>

#include "function/agent.h"
#include "fuzz/fuzz.h"
#include "handler/sampling.h"
#include "handler/toolkit.h"
#include "handler/transfer_process.h"
#include "platform/builtin/settings.h"
#include "platform/device.h"
#include "tests/unit/fake_platform.h"
#include "zevsic/dispatch.h"

// What takes time or a process of its own is done at once, or not.
double sample_cpu_busy_ratio() {
    return 0.5;
}
double sample_mem_used_ratio() {
    return 0.5;
}
void start_transfer_process(const TransferCommands &, const std::string &, const std::string &lock_file,
                            const std::string &) {
    remove_device_file(lock_file);
}
static bool worked;  // a worker of the agent
extern "C" {
unsigned __wrap_sleep(unsigned) {
    return 0;
}
int __wrap_pthread_detach(pthread_t) {
    return 0;
}
int __wrap_pthread_create(pthread_t *, const pthread_attr_t *, void *(*worker)(void *), void *argument) {
    worked = true;
    worker(argument);
    return 0;
}
}

static FakePlatform factory;
static agent_state fresh;

static const FuzzRoot &start() {
    static const FuzzRoot root;
    if (zevap) return root;
    StoreContents contents;
    for (const char *name : {"factory.conf", "demo.conf"}) {
        std::ostringstream text;
        std::string faulty;
        text << std::ifstream(std::string(ZEVSIC_SOURCE_DIR "/platform/builtin/") + name).rdbuf();
        expect(expand_settings(text.str(), LAYER_WORKING, &contents, &faulty), "settings", faulty);
    }
    for (const StoreItem &item : contents[LAYER_WORKING]) factory.item(item.group, item.key, item.value);
    for (const StoreItem &item : contents[LAYER_SYSTEM]) factory.system_items[item.key] = item.value;
    factory.item("snmp", "sample_time",
                 "200");  // live objects answer from the tree for the length of an input
    for (const int radio : {0, 1}) {
        const std::string name = "ath" + std::to_string(radio) + "ap0";
        factory.ifnames[{radio, 0}] = factory.enabled_vaps[radio + 1] = name;
        factory.stations[name] = {{"00:1a:2b:3c:4d:5e", 40, 1234, 5678}};
        std::filesystem::create_directories(root.path + "/sys/class/net/" + name);
        root.write(("/sys/class/net/" + name + "/ifindex").c_str(), std::to_string(radio + 7));
    }
    root.write("/tmp/sync_config", "0\n");
    fake = factory;
    init_norvalis();
    fresh = *zevap;
    return root;
}

static void empty_cells() {
    for (mib_node *node = head->list_next; node != head; node = node->list_next) {
        if (node->kind != LEAF) continue;
        clear_child_node(node);
        node->update_bit = 1;
        node->update_stamp = 0;
    }
}

static const Object *object_of(std::string_view oid) {
    for (const Object &object : OBJECTS)
        if (!object.is_branch() && oid.starts_with(std::string(object.oid) + ".")) return &object;
    return nullptr;
}

static std::unique_ptr<snmp_reply> ask(RequestKind kind, const std::string &oid, std::string_view set) {
    auto request = std::make_unique<snmp_request>();
    auto reply = std::make_unique<snmp_reply>();
    request->type = kind;
    put_text(request->oid, std::string(ROOT_OID) + "." + oid);
    put_text(request->set, set);
    snmp_exec(reply.get(), request.get());
    const int status = reply->reply_status;
    expect(status <= GAUGE || status == STATUS_ACCEPTED || status == STATUS_READ_ONLY ||
               status == STATUS_WRONG_TYPE || status == STATUS_WRONG_VALUE,
           "a documented status", std::to_string(status));
    for (const char *text : {reply->oid, reply->value})
        expect(
            std::string_view(text, TEXT_SIZE).find_first_not_of('\0', strlen(text)) == std::string_view::npos,
            "zero behind the texts", oid);
    return reply;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    start();
    std::string_view input(reinterpret_cast<const char *>(data), size);
    std::map<std::string, std::pair<int, std::string>> answered;  // by GETs, to be the same when asked afresh
    bool changed = false;
    tool_output.clear();
    for (int steps = 0; !input.empty() && steps < 200; steps++) {
        std::string line = take(&input, '\n');
        std::string_view rest = line;
        const std::string kind = take(&rest, ' ');
        if (kind == "t") tool_output.append(rest).append("\n");
        const std::string oid = take(&rest, ' ');
        const Object *object = object_of(oid);
        if (kind == "g") {
            const auto reply = ask(KIND_GET, oid, "");
            if (object && !object->live && !object->acts) answered[oid] = {reply->reply_status, reply->value};
        } else if (kind == "n") {
            ask(KIND_GETNEXT, oid, "");
        } else if (kind == "s") {
            const auto before = list_texts(pending_items);
            const auto reply = ask(KIND_SET, oid, rest);
            if (reply->reply_status == STATUS_ACCEPTED)
                changed = true;
            else
                expect(before == list_texts(pending_items) || (!pending_items && object && object->acts),
                       "a refused SET queues nothing", line);
        } else if (kind == "i" || kind == "t") {
            changed = true;
            if (kind == "i") {
                const std::string key = take(&rest, ' ');
                fake.item(oid, key, std::string(rest));
            }
        }
    }
    if (!changed) {
        empty_cells();
        for (const auto &[oid, answer] : answered) {
            const auto reply = ask(KIND_GET, oid, "");
            expect(std::pair<int, std::string>(reply->reply_status, reply->value) == answer,
                   "a cached and a fresh GET agree", oid + " " + answer.second + " / " + reply->value);
        }
    }
    free_item_list(pending_items);
    pending_items = nullptr;
    if (changed) {
        fake.working = factory.working;
        fake.running = factory.running;
        fake.steering_calls.clear();
    }
    if (worked) {  // an apply leaves its own object alone
        free_agent();
        init_norvalis();
    }
    worked = false;
    if (changed) empty_cells();  // else they show what they would show again
    fresh.root = head;
    *zevap = fresh;
    return 0;
}
