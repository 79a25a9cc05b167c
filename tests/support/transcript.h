// Transcripts: what a page asks or posts, and everything that comes of it. tests/pages/README.md has the form.
#pragma once

#include "device.h"
#include "memory.h"

#include <istream>
#include <map>
#include <set>

namespace testing_device {

/// Takes the library's command lines, which do not run then, and lets no time pass, while it is set.
extern strings *recorded;

using contents = std::map<std::string, std::string>;

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

/// Whether a request with this word is a posted page.
bool is_post(const std::string &word);
std::string unescape(const std::string &raw);
std::string escape(const std::string &text);
/// The first word of a text; the text loses it, and the blank behind it.
std::string take_word(std::string &text);

std::vector<transcript> read_transcripts(std::istream &text, const std::string &path);
/// All transcripts of tests/pages, and the examples in docs/pages.
const std::vector<transcript> &corpus();
/// Orders the lines whose place in a transcript says nothing, behind all others.
void put_last_in_order(strings &lines);
/// What a step says comes of it, in the form of stage::perform.
strings expected(const step &step);

/// Whether a command line has the form of one in the transcripts, as a shell takes it apart and a modem its argument:
/// what comes from outside is a word, or a part of one, and nothing else.
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

    /// Lets the device hold what a line says.
    void arrange(const fact &given);
    /// Makes a request with a record, or null. Gives all that it did, in order, as escaped lines of a transcript; those
    /// below a line follow it after a line end.
    strings perform(const step &step, dc_args_t *record);

    bool is_live = true;           // "!" commands and "do" really run
    memory_fault plan;             // for the next request
    std::set<std::string> touched; // the files and settings that the last request changed, or a command of it

private:
    const fact *note(const std::string &word, const std::string &text);
    void apply(const fact &event, bool is_done, std::string *output, int *status);
    void drain();
    void call(applet_info row, const std::string &name, int phase, int flags, dc_args_t *record);
    void serve(int pipe);

    const step *step_ = nullptr;
    strings lines_;
    std::set<const fact *> used_;
    contents state_; // as what is known explains it
    FILE *errors_ = nullptr;
    off_t errors_read_ = 0;
    int waits_ = 0;
    bool has_server_ = false;
    contents hidden_;
    strings made_;
};

} // namespace testing_device
