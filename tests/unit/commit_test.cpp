// Save and apply.
#include "tests/unit/agent_fixture.h"

class CommitTest : public AgentTest {
  protected:
    static int apply() { return set("1.62.0", "integer 1"); }
    // The worker's last act is to remove the lock file.
    bool apply_ends() const {
        return eventually([&] { return !root.has("/tmp/lock_snmp_apply_file"); });
    }
};

TEST_F(CommitTest, SaveWritesTheQueueAndNeverApplies) {
    set("1.1.0", "string \"ap\"");
    set("1.1.0", "string \"ap 2\"");
    EXPECT_EQ(set("1.68.0", "integer 0"), STATUS_ACCEPTED);
    EXPECT_EQ(queued(), "device name=ap + device name=ap 2");
    EXPECT_EQ(set("1.68.0", "integer 2"), STATUS_WRONG_VALUE);
    EXPECT_EQ(set("1.68.0", "integer 1"), STATUS_ACCEPTED);
    EXPECT_EQ(fake.working["device name"], "ap 2");
    EXPECT_EQ(queued(), "");
    EXPECT_EQ(get("1.68.0"), (Answer{INTEGER, "1.68.0", "0"}));

    // A failed write discards the queue, and with it all that it made the objects show.
    fake.system_items["date"] = "now";
    for (const char *oid : {"1.1.0", "1.14.0", "7.1.1.3.1"}) get(oid);
    set("1.1.0", "string \"lost\"");
    set("7.1.1.3.200", "string \"lost\"");
    EXPECT_EQ(get("1.1.0").value, "lost");
    fake.saving_fails = true;
    EXPECT_EQ(set("1.68.0", "integer 1"), STATUS_WRONG_VALUE);
    EXPECT_EQ(queued(), "");
    EXPECT_EQ(get("1.1.0").value, "ap 2");
    EXPECT_EQ(get("7.1.1.3.200"), NOTHING) << "a row that was never stored";
    fake.system_items["date"] = "later";
    EXPECT_EQ(get("1.14.0").value, "now") << "what is live keeps its time";
}

TEST_F(CommitTest, ApplyLeavesNothingButItself) {
    root.write("/tmp/sync_config", "\n1\n");  // the first line counts, and it is empty
    set("1.1.0", "string \"ap\"");
    // The walk has filled the tree below the leaf that the SET is called on.
    get("1.62.0");
    EXPECT_EQ(apply(), STATUS_ACCEPTED);
    EXPECT_EQ(fake.working["device name"], "ap");
    EXPECT_EQ(get("1.1.0"), NOTHING);
    EXPECT_EQ(get("1.62.0"), (Answer{INTEGER, "1.62.0", "1"}));
    EXPECT_EQ(next(""), (Answer{INTEGER, "1.62.0", "1"}));
    EXPECT_EQ(next("1.62.0"), NOTHING);
    EXPECT_TRUE(apply_ends());
    build();
    EXPECT_EQ(get("1.1.0").value, "ap");
    EXPECT_EQ(get("1.62.0").value, "0");
}

TEST_F(CommitTest, ARefusedApplyKeepsWhatIsQueued) {
    EXPECT_EQ(set("1.62.0", "integer 0"), STATUS_ACCEPTED);
    EXPECT_EQ(set("1.62.0", "integer 2"), STATUS_WRONG_VALUE);

    set("1.1.0", "string \"kept\"");
    root.write("/tmp/lock_snmp_apply_file", "1\n");
    EXPECT_EQ(apply(), STATUS_WRONG_VALUE) << "an apply is running";
    EXPECT_EQ(queued(), "device name=kept");
    EXPECT_EQ(get("1.62.0").value, "1");
    unlink(root.path("/tmp/lock_snmp_apply_file").c_str());

    fake.locked = true;
    EXPECT_EQ(apply(), STATUS_WRONG_VALUE) << "another party holds the store";
    EXPECT_EQ(queued(), "device name=kept");
    EXPECT_EQ(get("1.62.0").value, "1");
    fake.locked = false;

    EXPECT_EQ(apply(), STATUS_WRONG_VALUE) << "nothing was saved";
    EXPECT_EQ(queued(), "");
    EXPECT_FALSE(root.has("/tmp/lock_snmp_apply_file"));

    build();
    root.write("/tmp/sync_config", "1\n");
    EXPECT_EQ(apply(), STATUS_WRONG_VALUE) << "needs a reboot";
    EXPECT_FALSE(root.has("/tmp/lock_snmp_apply_file"));
    EXPECT_EQ(get("1.62.0").value, "-1");

    root.write("/tmp/sync_config", "0\n");
    fake.saving_fails = true;
    EXPECT_EQ(apply(), STATUS_WRONG_VALUE);
    EXPECT_FALSE(root.has("/tmp/lock_snmp_apply_file"));
}

TEST_F(CommitTest, AStrangersFilesDoNotCount) {
    zevap->sample_time = 0;
    for (size_t way = 0; root.put_strangers_file("/tmp/lock_snmp_apply_file", way); way++) {
        EXPECT_EQ(get("1.62.0").value, "0") << way;
        EXPECT_EQ(file_owner("/tmp/lock_snmp_apply_file"), FileOwner::NOBODY) << way;
        root.put_strangers_file("/tmp/sync_config", way);
        EXPECT_EQ(apply(), STATUS_WRONG_VALUE) << way << ": nothing was saved";
        EXPECT_EQ(file_owner("/tmp/sync_config"), FileOwner::NOBODY) << way;
        root.put_strangers_file("/tmp/lock_snmp_apply_file", way);
        root.write("/tmp/sync_config", "0\n");
        EXPECT_EQ(apply(), STATUS_ACCEPTED) << way;
        EXPECT_TRUE(apply_ends());
        EXPECT_EQ(root.read("/tmp/victim"), "precious\n");
        unlink(root.path("/tmp/sync_config").c_str());
        build();
        zevap->sample_time = 0;
    }
}

TEST_F(CommitTest, StateOfTheApplyObject) {
    fake.need_reboot = true;
    zevap->sample_time = 0;
    root.write("/tmp/lock_snmp_apply_file", "1\n");
    EXPECT_EQ(get("1.62.0").value, "-1") << "whatever the lock file says";
    fake.need_reboot = false;
    EXPECT_NE(
        traced([] { get("1.62.0"); }).find("already applying\n Get applying state:Applying from ZEVCFG.\n"),
        std::string::npos);
}
