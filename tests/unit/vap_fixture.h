// Tables of cases for the columns of the VAPs, one line an object. OIDs are relative to the subtree root. A
// text "value>text" says what becomes of the value; without ">" the value becomes itself.
#pragma once

#include "tests/unit/agent_fixture.h"

struct VapSetCase {
    std::string oid, item;  // the item up to the text that is queued for an accepted value
    std::vector<std::string> accepted, refused;
};
struct VapShownCase {
    std::string group, key, oid;
    std::vector<std::string> stored;
};

class VapTest : public AgentTest {
  protected:
    static constexpr const char *REFUSED = "refused 34";

    // What a SET queues, items joined by " + ".
    static std::string queued_text(const std::string &oid, const std::string &value) {
        std::string text;
        for (const std::string &item : queued_by(oid, value)) text += (text.empty() ? "" : " + ") + item;
        return text;
    }

    static void expect_queued(const std::vector<VapSetCase> &cases) {
        for (const VapSetCase &c : cases) {
            for (const std::string &value : c.accepted) {
                const auto &[written, stored] = split(value);
                EXPECT_EQ(queued_text(c.oid, written), c.item + stored) << c.oid << " = " << written;
            }
            for (const std::string &value : c.refused)
                EXPECT_EQ(queued_text(c.oid, value), REFUSED) << c.oid << " = " << value;
        }
    }

    // The item is a key of the group. Without it "-1" shows and what is accepted has no effect.
    void expect_existing_only(const std::string &group, std::vector<VapSetCase> cases) {
        for (VapSetCase &c : cases) {
            build();
            EXPECT_EQ(get(c.oid).value, "-1") << c.oid;
            for (const std::string &value : c.accepted)
                EXPECT_EQ(queued_text(c.oid, split(value).first), "") << c.oid << " = " << value;
            fake.item(group, c.item, "");
            c.item = group + " " + c.item + "=";
        }
        expect_queued(cases);
    }

    void expect_shown(const std::vector<VapShownCase> &cases) {
        for (const VapShownCase &c : cases) {
            for (const std::string &text : c.stored) {
                const auto &[stored, shown] = split(text);
                fake.working = {{{c.group, c.key}, stored}};
                build();
                EXPECT_EQ(get(c.oid).value, shown) << c.oid << " with " << c.key << " " << stored;
                EXPECT_NE(get(c.oid).status, STATUS_NOTHING) << "an empty text is an answer too";
            }
        }
    }

    template <typename Action>
    static void expect_trace(const std::string &lines, Action action) {
        const std::string trace = traced(action);
        EXPECT_NE(trace.find("\n" + lines), std::string::npos) << lines << "in\n" << trace;
    }

  private:
    static std::pair<std::string, std::string> split(const std::string &text) {
        const size_t place = text.find('>');
        if (place == std::string::npos) return {text, text};
        return {text.substr(0, place), text.substr(place + 1)};
    }
};
