// Requests to the whole tree in one process, on a store in memory that holds the demo's configuration. Lines:
//   g OID   n OID   s OID TYPE VALUE     a request; the OID is relative
//   i GROUP KEY VALUE                    an item of the store from here on
//   t TEXT                               a line that tools print
//   v                                    traces from here on
//   d                                    a dump of the tree
//   f LETTERS                            what fails from here on: lock, saving, apply without reboot
#include <map>
#include <sstream>

#include "fuzz/fuzz.h"
#include "handler/groups.h"
#include "handler/sampling.h"
#include "handler/toolkit.h"
#include "handler/transfer_process.h"
#include "platform/builtin/settings.h"
#include "platform/device.h"
#include "tests/requests.h"
#include "tests/unit/fake_platform.h"
#include "tree/agent.h"
#include "tree/trace.h"

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
static bool worked;   // a worker of the agent
static bool working;  // it does: what else sleeps is libFuzzer's
extern "C" {
unsigned __real_sleep(unsigned seconds);
unsigned __wrap_sleep(unsigned seconds) {
    return working ? 0 : __real_sleep(seconds);
}
int __wrap_pthread_detach(pthread_t) {
    return 0;
}
int __wrap_pthread_create(pthread_t *, const pthread_attr_t *, void *(*worker)(void *), void *argument) {
    worked = working = true;
    worker(argument);
    working = false;
    return 0;
}
}

static Reach got("a value got"), next_found("a next one"), set_done("a SET accepted"),
    refused("a SET refused"), worked_through("an apply"), compared("a cached and a fresh answer");

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
    factory.offload[1] = true;  // as in the demo's device
    factory.capability[1] = 0x20;
    root.write("/tmp/sync_config", "0\n");
    fake = factory;
    init_norvalis();
    fresh = *zevap;
    return root;
}

static void empty_cells() {
    for (mib_node *node = head->list_next; node != head; node = node->list_next) {
        if (node->kind != LEAF || (node->update_stamp == 0 && !node->below)) continue;
        clear_child_node(node);
        node->update_bit = 1;
        node->update_stamp = 0;
    }
}

static Answer ask(RequestKind kind, const std::string &oid, const std::string &set = "") {
    Answer answer = execute(kind, oid, set);
    const int status = answer.status;
    const bool value = status > 0 && status <= GAUGE;
    if (kind == KIND_GET && value) got.times++;
    if (kind == KIND_GETNEXT && value) next_found.times++;
    if (kind == KIND_SET) (status == STATUS_ACCEPTED ? set_done : refused).times++;
    expect((status >= 0 && status <= GAUGE) || status == STATUS_ACCEPTED || status == STATUS_READ_ONLY ||
               status == STATUS_WRONG_TYPE || status == STATUS_WRONG_VALUE,
           "a documented status, zero behind the texts", oid + " " + std::to_string(status));
    return answer;
}

// The store as it was, but for what was written: "group key=value".
static void restore(const std::vector<std::string> &written) {
    for (std::string_view text : written) {
        const std::string item = take(&text, '=');
        for (const auto layer : {&FakePlatform::working, &FakePlatform::running}) {
            (fake.*layer).erase(item);
            if ((factory.*layer).contains(item)) (fake.*layer)[item] = (factory.*layer)[item];
        }
    }
    fake.steering_calls.clear();
    fake.locked = fake.saving_fails = fake.need_reboot = false;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    start();
    std::string_view input(reinterpret_cast<const char *>(data), size);
    std::map<std::string, Answer> answered;  // by GETs, to be the same when asked afresh
    std::vector<std::string> written;
    bool changed = false;
    tool_output.clear();
    debugLevel = 0;
    for (int steps = 0; !input.empty() && steps < 200; steps++) {
        std::string line = take(&input, '\n');
        std::string_view rest = line;
        const std::string kind = take(&rest, ' ');
        if (kind == "t") tool_output.append(rest).append("\n");
        if (kind == "v") debugLevel = 1;
        if (kind == "d") ask(KIND_DUMP, "");
        const std::string oid = take(&rest, ' ');
        const Object *object = object_of(oid);
        if (kind == "f") {
            fake.locked = oid.find('l') != oid.npos;
            fake.saving_fails = oid.find('s') != oid.npos;
            fake.need_reboot = oid.find('r') != oid.npos;
            changed = true;
        } else if (kind == "g") {
            const Answer answer = ask(KIND_GET, oid);
            // Rows of several arcs are found as written when fresh, by number when cached: 1.01 is not 1.1.
            const bool as_written = answer.oid.empty() || answer.oid == oid;
            if (object && !object->live && !object->acts && !object->any_instance && as_written)
                answered[oid] = answer;
        } else if (kind == "n") {
            ask(KIND_GETNEXT, oid);
        } else if (kind == "s") {
            const int before = fake.items_queued;
            const auto saves =
                object && object->acts ? list_texts(pending_items) : std::vector<std::string>();
            const Answer answer = ask(KIND_SET, oid, std::string(rest));
            changed |= answer.status == STATUS_ACCEPTED;
            expect(answer.status == STATUS_ACCEPTED || before == fake.items_queued,
                   "a refused SET queues nothing", line);
            if (!pending_items) written.insert(written.end(), saves.begin(), saves.end());
        } else if (kind == "i" || kind == "t") {
            changed = true;
            if (kind == "i") {
                const std::string key = take(&rest, ' ');
                fake.item(oid, key, std::string(rest));
                written.push_back(oid + " " + key + "=");
            }
        }
    }
    if (!changed) {
        empty_cells();
        for (const auto &[oid, answer] : answered) {
            compared.times++;
            const Answer again = ask(KIND_GET, oid);
            expect(again == answer, "a cached and a fresh GET agree",
                   oid + " " + answer.value + " / " + again.value);
        }
    }
    free_item_list(pending_items);
    pending_items = nullptr;
    restore(written);
    if (worked) {  // an apply leaves its own object alone
        worked_through.times++;
        free_agent();
        init_norvalis();
    }
    worked = false;
    if (changed) empty_cells();  // else they show what they would show again
    fresh.root = head;
    *zevap = fresh;
    return 0;
}
