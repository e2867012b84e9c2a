// An agent on the fake platform, built anew for each test, and requests to it.
#pragma once

#include <tuple>

#include "handler/groups.h"
#include "platform/device.h"
#include "tests/device_root.h"
#include "tests/requests.h"
#include "tests/unit/fake_platform.h"
#include "tree/node.h"

using Texts = std::vector<std::string>;
inline const Answer NOTHING = {0, "", ""};
inline const std::string REFUSED = "refused 34";

// Cases of an object. A text "value>text" says what becomes of the value; without ">" the value becomes
// itself.
struct SetCase {
    std::string oid, item;  // the item up to the text that is queued for an accepted value
    Texts accepted, refused;
};

class AgentTest : public testing::Test {
  protected:
    AgentTest() {
        debugLevel = 0;
        fake = {};
        fake.item("snmp", "sample_time", "100");
        build();
    }
    ~AgentTest() override { end_agent(); }

    // Builds the agent from what the fake holds now; again, as a reload does, when there is one.
    static void build() {
        if (zevap) free_agent();
        init_norvalis();
    }

    // Requests by relative OID. A SET text is type word, blank and value.
    static Answer get(const std::string &oid) { return execute(KIND_GET, oid); }
    static Answer next(const std::string &oid) { return execute(KIND_GETNEXT, oid); }
    static int set(const std::string &oid, const std::string &text) {
        return execute(KIND_SET, oid, text).status;
    }
    // OIDs and values behind an object, in the order of a walk.
    static Texts walked(const std::string &object) {
        Texts items;
        for (Answer at = next(object); at.oid.starts_with(object + ".") && items.size() < 1000;
             at = next(at.oid))
            items.push_back(at.oid + "=" + at.value);
        return items;
    }

    // The pending items as "group key=value", joined by " + ".
    static std::string queued() {
        std::string text;
        for (const std::string &item : list_texts(pending_items)) text += (text.empty() ? "" : " + ") + item;
        return text;
    }
    // What a SET of a value in the object's type queues, or "refused 34" and the like.
    static std::string queued_by(const std::string &oid, const std::string &value) {
        drop_queue();
        const int status = set(oid, in_type(*object_of(oid), value));
        if (status == STATUS_ACCEPTED) return queued();
        EXPECT_EQ(queued(), "") << oid << ": a refused SET queues nothing";
        return "refused " + std::to_string(status);
    }
    static void expect_sets(const std::vector<SetCase> &cases) {
        for (const SetCase &c : cases) {
            for (const std::string &value : c.accepted) {
                const auto &[written, stored] = sides(value);
                EXPECT_EQ(queued_by(c.oid, written), c.item + stored) << c.oid << " = " << written;
            }
            for (const std::string &value : c.refused)
                EXPECT_EQ(queued_by(c.oid, value), REFUSED) << c.oid << " = " << value;
        }
    }

    // What a row shows once that text is stored.
    static std::string shown(const std::string &oid, const std::string &group, const std::string &key,
                             const std::string &stored) {
        fake.item(group, key, stored);
        build();
        return get(oid).value;
    }

    // The VAP has an interface in the kernel, number 20 × radio + VAP, from the next build on.
    void make_interface(int radio, int vap, std::string name = "") const {
        if (name.empty()) name = format("ath%dap%d", radio - 1, vap - 1);
        fake.ifnames[{radio - 1, vap - 1}] = name;
        root.write("/sys/class/net/" + name + "/ifindex", std::to_string(20 * radio + vap) + "\n");
    }

    DeviceRoot root;

  private:
    static std::pair<std::string, std::string> sides(const std::string &text) {
        const size_t place = text.find('>');
        if (place == std::string::npos) return {text, text};
        return {text.substr(0, place), text.substr(place + 1)};
    }
};
