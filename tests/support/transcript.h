// Transcripts: what a page asks or posts, and everything that comes of it. tests/pages/README.md has the form.
#pragma once

#include "device.h"
#include "memory.h"

#include <istream>
#include <set>

namespace testing_device {

/// Takes the library's command lines, which do not run then, and lets no time pass, while it is set. A command that is
/// read prints what is printed.
extern strings *recorded;
extern std::string printed;

/// A line: its first word, and the rest, in which escapes stand as they are written. Lines below it belong to it.
struct fact {
    std::string word, text;
    std::vector<fact> below;
};

/// A request, what the device is given before it, and what comes of it.
struct step {
    int number = 0; // of the request's line
    std::vector<fact> given;
    fact request;
    std::vector<fact> outcome;
};

struct transcript {
    std::string module, title, path;
    int number = 0;
    std::vector<step> steps;
};

bool is_one_of(const std::string &word, const char *words);
/// Whether a request with this word is a posted page.
bool is_post(const std::string &word);
std::string unescape(const std::string &raw);
std::string escape(const std::string &text);
/// The first word of a text; the text loses it, and the blank behind it.
std::string take_word(std::string &text);

std::vector<transcript> read_transcripts(std::istream &text, const std::string &path);
/// All transcripts of tests/pages, and the examples in docs/pages.
const std::vector<transcript> &corpus();
std::string join(const std::string &word, const std::string &text);
/// Orders the lines whose place in a transcript says nothing, behind all others.
void put_last_in_order(strings &lines);
/// What a step says comes of it, in the form of stage::perform, in order.
strings expected(const step &step);

/// Whether a line "$ COMMAND" is of the form of one in the transcripts, and all of its other texts are single words.
bool is_harmless(const std::string &line);

/// What a request hands to the handlers: a page, or a table.
struct payload {
    explicit payload(const step &step);
    payload(const payload &) = delete;
    payload &operator=(const payload &) = delete;
    ~payload();

    /// "->" and what it holds, escaped; each node of a page must be whole.
    [[nodiscard]] std::string text() const;

    tree page;
    std::unique_ptr<dlist_node_t> table;
    dc_args_t record = {};
};

/// The device that a transcript plays on: shell commands are looked at, and do what the transcript says, time does not
/// pass, and everything that a request changes is found.
class stage : public device_test {
public:
    /// What the library calls while a request is made. Gives a wait status, and what a read command prints.
    int command(const char *line, std::string *output);
    void wait(int milliseconds);

protected:
    void SetUp() override;
    void TearDown() override;

    /// Plays a transcript: what comes of it must be what it tells.
    void play(const transcript &told);
    /// Lets the device hold what a line says.
    void arrange(const fact &given);
    /// Makes a request with a record, or null. Gives all that it did, in order, as escaped lines of a transcript; those
    /// below a line follow it after a line end.
    strings perform(const step &step, dc_args_t *record);

    bool is_live = true; // "!" commands and "do" really run
    memory_fault plan;   // for the next request

private:
    const fact *note(const std::string &word, const std::string &text);
    void apply(const fact &event, bool is_done, std::string *output, int *status);
    void drain();
    void call(const applet_info &row, const char *phase, int flags, dc_args_t *record);
    int serve(const char *path, int flags);

    const step *step_ = nullptr;
    strings lines_;
    std::set<const fact *> used_;
    std::map<std::string, std::string> state_; // as what is known explains it
    int waits_ = 0;
    int server_ = -1; // what it reads
};

} // namespace testing_device
