// Save and apply: objects 1.62 and 1.68.
#include "handler/commit.h"

#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "handler/engine.h"
#include "handler/groups.h"
#include "handler/rules.h"
#include "platform/device.h"
#include "platform/log.h"
#include "tree/resolve.h"

int access_lock = 0;

// Signals belong to the main loop: workers run with all of them blocked.
static bool start_detached(void *(*worker)(void *), void *argument) {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread;
    const bool started = pthread_create(&thread, nullptr, worker, argument) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
}

// Touches the store and the lock file only. The handle stays valid for calls even if a rebuild closes it.
static void *apply_worker(void *handle) {
    pthread_detach(pthread_self());
    if (apply_cfg(static_cast<zevcfg_handle *>(handle)) != 0) {
        log_event("apply failed, the daemon ends", Severity::ERROR);
        // Half a configuration is in force: whoever supervises the daemon decides. The lock file tells.
        fflush(nullptr);
        _exit(1);
    }
    log_event("apply ended");
    // One that stays refuses every later apply.
    constexpr int MOST_TRIES = 10;
    for (int i = 0; i < MOST_TRIES && !remove_device_file(APPLY_LOCK_FILE); i++) usleep(100'000);
    return nullptr;
}

static void *reboot_worker(void *with_factory_settings) {
    pthread_detach(pthread_self());
    if (with_factory_settings) reset_zevcfg();
    sleep(1);
    log_event(with_factory_settings ? "reboot with factory settings" : "reboot");
    run_command("reboot");
    return nullptr;
}

bool start_reboot_worker(Restart restart) {
    static char factory_settings;  // any address: the worker asks only whether it is one
    return start_detached(reboot_worker,
                          restart == Restart::WITH_FACTORY_SETTINGS ? &factory_settings : nullptr);
}

// True when no other party holds the store. The lock is only probed, never held.
static bool store_is_free() {
    const int lock = lock_zevcfg(6, 6);
    if (lock < 0) return false;
    access_lock = lock;
    unlock_zevcfg(lock);
    access_lock = 0;
    return true;
}

// Writes the queued items into the working configuration. The queue is empty afterwards, whatever happened.
static bool save_pending_items() {
    const int result = set_cfg_items_snmp(sic_zevcfg, pending_items);
    free_item_list(pending_items);
    pending_items = nullptr;
    malloc_trim(0);                    // a long queue took memory, and lies across the heap
    if (result != 0) forget_values();  // what was written and shown is lost
    return result == 0;
}

static int apply_state() {
    if (check_apply_need_reboot() == 1) return -1;
    int state = 0;
    if (file_counts(APPLY_LOCK_FILE)) {
        TRACE("already applying\n");
        state = 1;
    } else if (!store_is_free()) {
        state = 1;
    }
    TRACE(" Get applying state:%s from ZEVCFG.\n", state == 1 ? "Applying" : "Do nothing");
    return state;
}

static void show_state(const HandlerCall &call, const char *state) {
    stamp(call);
    store_cell(call, {0}, state);
}

static snmp_reply *start_apply(HandlerCall call) {
    if (file_counts(APPLY_LOCK_FILE)) {
        TRACE("already applying\n");
        return set_refused(call);
    }
    if (!store_is_free()) {
        TRACE("already applying\n");
        show_state(call, "1");
        return set_refused(call);
    }
    if (!create_lock_file(APPLY_LOCK_FILE)) return set_refused(call);

    const auto refuse = [&call] {
        remove_device_file(APPLY_LOCK_FILE);
        return set_refused(call);
    };
    if (!save_pending_items()) return refuse();
    std::string changes;
    if (!file_counts(SAVED_CHANGES_FILE) || !read_device_file(SAVED_CHANGES_FILE, 1024, &changes)) {
        TRACE("Need not to apply since no config saved\n");
        forget_values();
        return refuse();
    }
    TRACE("sync_config exists\n");
    if (atoi(first_line(changes).c_str()) == 1) {
        TRACE("Some configs need to reboot to take effect\n");
        show_state(call, "-1");
        return refuse();
    }

    // While the store applies, this object is all that a manager sees. The leaf of the call goes with the
    // rest.
    clear_child_node(head);
    prev = head;
    call.node = register_apply_object();
    show_state(call, "1");
    log_event("apply begun");
    // When it is done the store sends SIGUSR2, which brings the rest of the tree back.
    if (!start_detached(apply_worker, sic_zevcfg)) {
        log_event("apply not begun: no thread", Severity::ERROR);
        TRACE("Create pthread error!\n");
        return refuse();
    }
    return set_accepted(call);
}

snmp_reply *apply_config(const HandlerCall &call) {
    if (!is_instance_0(call)) return call.reply;
    if (call.kind == KIND_GET) {
        const int state = apply_state();
        stamp(call);
        publish(call, {0}, std::to_string(state));
        return call.reply;
    }
    TRACE("SET str=%s\n", call.value);
    if (!within_range(call.object, call.value)) return set_refused(call);
    return atoi(call.value) == 1 ? start_apply(call) : set_accepted(call);
}

snmp_reply *save_config(const HandlerCall &call) {
    return action_scalar(call, save_pending_items);
}
