/* tests/support/lcfwd_rig.h: a whole process inside a test: in-process bus, a clock that stands still,
 * files in a folder of its own, a platform library of the test's choice. Wire bytes go in; answers,
 * reports, records and platform calls come out. stop() leaves what a kill leaves: files and the library's
 * tables; start() goes on from there. One rig at a time: the process's state is the test binary's own. */
#pragma once

#include "core/lcfwd_domain.h"
#include "core/lcfwd_main.h"
#include "host/timer/clock.h"
#include "platform/platform_library.h"
#include "tests/support/wire_build.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

struct rig_message { /* one that the process sent */
    uint32_t opcode;
    uint32_t node;
    uint32_t sap;
    uint32_t vdc;
    uint32_t token;
    bool response;
    bool reject;
    bytes payload;
};

struct rig_send_options {
    uint16_t vdc = 1;
    uint32_t version = 1;
    uint32_t sap = 0; /* 0: the one that serves the opcode */
    bool request = true;
    bool response = false; /* comes as an answer to something */
};

struct rig_options {
    const platform_library *library = nullptr; /* null: defaults alone */
    const lcfwd_domain *ufib = nullptr;
    const lcfwd_domain *mfib = nullptr;
    const lcfwd_domain *lfib = nullptr;
    uint32_t slot = 3;
    bool library_mode = false;
};

class lcfwd_rig {
public:
    explicit lcfwd_rig(const rig_options &options = {});
    ~lcfwd_rig();
    lcfwd_rig(const lcfwd_rig &) = delete;
    lcfwd_rig &operator=(const lcfwd_rig &) = delete;

    /* What is around the process, without the process: for tests that start it by hand. */
    void prepare();
    /* All of start-up; the exit code, 0 when it stands. */
    int start(lcfwd_start_mode mode = LCFWD_START_AUTO);
    /* The process is gone at once: nothing is flushed. */
    void stop();
    int restart() {
        stop();
        return start();
    }

    /* Puts a message into a queue and lets the engine work until nothing is left to do. The answer to it,
     * if any. */
    std::optional<rig_message> send(uint32_t opcode, const bytes &payload,
                                    const rig_send_options &options = {});
    /* The same without working: for tests of queues and order. */
    uint32_t inject(uint32_t opcode, const bytes &payload, const rig_send_options &options = {});
    void run();
    /* One message through dequeue and demux: the status that reaches the engine. */
    int dispatch(uint32_t opcode, const bytes &payload, const rig_send_options &options = {});

    /* Time goes on; timers that come due run, in steps of at most a second. */
    void advance_seconds(uint32_t seconds);
    void advance_ms(uint32_t milliseconds);

    /* Where the environment asks for it (see each_step.h), the process dies and comes back here, as before every
     * message and every step of time. A test that ends with a look at the whole calls it once more. */
    void between_steps();

    /* Makes VDC 'vdc_id' and forgets the messages and platform calls of its making. */
    void vdc(uint16_t vdc_id);

    /* What the process sent since the last take, oldest first. */
    std::vector<rig_message> take();
    std::vector<rig_message> take(uint32_t opcode); /* of one opcode; the others are forgotten too */

    /* The records of a database file ("prefix_vdc_1", "vdc"), as another process would read them: keys and
     * values in hex digits. */
    std::map<std::string, std::string> records(const std::string &file) const;
    std::string log_text() const; /* the text log from its beginning */
    bool log_has(const std::string &text) const { return log_text().find(text) != std::string::npos; }
    /* Rendered records of the binary trace of a VDC that begin with 'prefix'. */
    std::vector<std::string> traces(uint32_t vdc_id, const std::string &prefix = "") const;

    std::string root; /* of all paths of this process */
    host_manual_clock clock;
    rig_options options;
    std::vector<int> exits; /* codes with which the process would have ended */

private:
    void collect();
    bool started_ = false;
    bool queued_ = false; /* messages wait that a kill would lose */
    uint32_t next_token_ = 1;
    std::vector<rig_message> sent_;
};
