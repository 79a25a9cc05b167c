// Transcripts: what a page asks or posts, and everything that comes of it. tests/pages/README.md has the form.
#pragma once

#include "device.h"

#include <fstream>
#include <functional>

namespace testing_device {

/// A line: its first word, and the rest, in which escapes stand as they are written. Lines below it belong to it.
struct fact {
    std::string word, text;
    std::vector<fact> below;
};

/// A request, what the device is given before it, and what comes of it.
struct step {
    std::vector<fact> given;
    fact request;
    std::vector<fact> outcome;
};

struct transcript {
    std::string module, title;
    std::vector<step> steps;
};

bool is_one_of(const std::string &word, const char *words);
std::string unescape(const std::string &raw);
/// The first word of a text; the text loses it, and the blank behind it.
std::string take_word(std::string &text);
std::string join(const std::string &word, const std::string &text);

/// All transcripts of tests/pages, and the examples in docs/pages.
const std::vector<transcript> &corpus();
/// What a step says comes of it, in the form of stage::perform.
strings expected(const step &step);

/// Whether an event is no command, or one of the form of a command in the transcripts, whose other texts are words.
bool is_harmless(const std::string &event);

/// The elements of a page that hold nothing but a text, or nothing.
std::vector<mxml_node_t *> leaves_of(mxml_node_t *page);

/// The device that a transcript plays on: shell commands do what the transcript says, time does not pass, and
/// everything that a request changes is found.
class stage : public device_test {
protected:
    void TearDown() override;

    /// Plays a transcript: what comes of it must be what it tells.
    void play(const transcript &told);
    /// Makes a step's request, of whose page something is changed before. Gives all that comes of it, a line each.
    strings perform(const step &step, const std::function<void(mxml_node_t *page)> &change = {});

    bool is_live = true; // "!" commands and "do" really run
    memory_fault plan;   // for the next request
    std::string answer;  // the page, or table, after it

    long happens(const std::string &what, const std::string &text, std::string *output) override;

private:
    void arrange(const fact &given);
    void make(const std::string &request, const std::string &name);
    int tell_client(std::string word, std::string text);
    void end_client();
    void serve(const std::string &pipe);

    std::vector<fact> expected_;               // of the request's outcome, and not come yet
    std::map<std::string, std::string> state_; // as what is known explains it
    int server_ = -1;                          // what it reads
    FILE *to_client_ = nullptr;
    std::ifstream from_client_;
};

} // namespace testing_device
