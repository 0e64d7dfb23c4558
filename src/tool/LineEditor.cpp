#include "LineEditor.h"

#include <fcntl.h>
#include <histedit.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <filesystem>
#include <utility>

#include "Text.h"

namespace kova::tool {

namespace {

constexpr int HISTORY_LINES = 1000;
constexpr std::size_t MOST_CHOICES = 100;
constexpr unsigned COLUMNS = 80;
char prompt[] = "kova> ";  // not constant for libedit

struct EditLineDeleter {
    void operator()(EditLine* editor) const { el_end(editor); }
};
struct HistoryDeleter {
    void operator()(History* history) const { history_end(history); }
};

char* promptOf(EditLine* /*editor*/) {
    return prompt;
}

unsigned terminalColumns() {
    winsize size{};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col
                                                                             : COLUMNS;
}

void showChoices(const std::vector<std::string>& choices) {
    std::string text = "\n";
    for (std::size_t at = 0; at < choices.size() && at < MOST_CHOICES; ++at) {
        text += cut(choices[at], terminalColumns() - 1) + '\n';
    }
    if (choices.size() > MOST_CHOICES) {
        text += "and " + std::to_string(choices.size() - MOST_CHOICES) + " more\n";
    }
    static_cast<void>(std::fputs(text.c_str(), stdout));
    static_cast<void>(std::fflush(stdout));
}

}  // namespace

struct LineEditor::Parts {
    // Reads a character for libedit. Returns 1, or 0 if no character will follow.
    int readCharacter(wchar_t& character);
    unsigned char completeAtCursor() const;
    void save() const;

    static Parts& of(EditLine* editor) {
        void* parts = nullptr;
        el_get(editor, EL_CLIENTDATA, &parts);
        return *static_cast<Parts*>(parts);
    }
    static int onRead(EditLine* editor, wchar_t* character) {
        return of(editor).readCharacter(*character);
    }
    static unsigned char onComplete(EditLine* editor, int /*key*/) {
        return of(editor).completeAtCursor();
    }

    int interrupt = -1;
    std::string file;
    Complete complete;
    bool isInterrupted = false;
    std::unique_ptr<History, HistoryDeleter> history;
    std::unique_ptr<EditLine, EditLineDeleter> editor;
};

int LineEditor::Parts::readCharacter(wchar_t& character) {
    std::mbstate_t state{};
    while (true) {
        std::array<pollfd, 2> sources{{{STDIN_FILENO, POLLIN, 0}, {interrupt, POLLIN, 0}}};
        ::poll(sources.data(), sources.size(), -1);
        if (sources[1].revents != 0) {
            isInterrupted = true;
            return 0;
        }
        char byte = 0;
        if (::read(STDIN_FILENO, &byte, 1) != 1) {
            return 0;
        }
        const std::size_t length = std::mbrtowc(&character, &byte, 1, &state);
        if (length <= 1) {
            return 1;
        }
        if (length == static_cast<std::size_t>(-1)) {  // not UTF-8: the byte is skipped
            state = {};
        }
    }
}

unsigned char LineEditor::Parts::completeAtCursor() const {
    LineInfo const* const line = el_line(editor.get());
    const LineCompletion completion = complete(std::string(line->buffer, line->cursor));
    if (!completion.choices.empty()) {
        showChoices(completion.choices);
        return CC_REDISPLAY;
    }
    if (completion.insertion.empty() ||
        el_insertstr(editor.get(), completion.insertion.c_str()) != 0) {
        return CC_REFRESH_BEEP;
    }
    return CC_REFRESH;
}

void LineEditor::Parts::save() const {
    if (file.empty()) {
        return;
    }
    constexpr mode_t OWNER_ONLY = S_IRUSR | S_IWUSR;
    const int descriptor =
        ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, OWNER_ONLY);
    if (descriptor < 0) {
        return;
    }
    std::FILE* const stream =
        ::fchmod(descriptor, OWNER_ONLY) == 0 ? ::fdopen(descriptor, "w") : nullptr;
    if (stream == nullptr) {
        ::close(descriptor);
        return;
    }
    HistEvent event{};
    ::history(history.get(), &event, H_SAVE_FP, stream);
    static_cast<void>(std::fclose(stream));
}

LineEditor::LineEditor(int interrupt, std::string historyFile, Complete complete)
    : parts_(std::make_unique<Parts>()) {
    Parts& parts = *parts_;
    parts.interrupt = interrupt;
    parts.file = std::move(historyFile);
    parts.complete = std::move(complete);
    static_cast<void>(std::setlocale(LC_CTYPE, "C.UTF-8"));  // libedit converts characters with it
    parts.history.reset(history_init());
    parts.editor.reset(el_init("kova", stdin, stdout, stderr));
    HistEvent event{};
    ::history(parts.history.get(), &event, H_SETSIZE, HISTORY_LINES);
    ::history(parts.history.get(), &event, H_SETUNIQUE, 1);
    if (!parts.file.empty()) {
        ::history(parts.history.get(), &event, H_LOAD, parts.file.c_str());
    }
    EditLine* const editor = parts.editor.get();
    el_set(editor, EL_CLIENTDATA, &parts);
    el_set(editor, EL_EDITOR, "emacs");
    el_set(editor, EL_PROMPT, promptOf);
    el_set(editor, EL_HIST, ::history, parts.history.get());
    el_set(editor, EL_GETCFN, &Parts::onRead);
    // libedit 3.1 keeps these texts, and never frees the copies that `el_set` would make.
    el_wset(editor, EL_ADDFN, L"kova-complete", L"Completes the word at the cursor",
            &Parts::onComplete);
    el_set(editor, EL_BIND, "^I", "kova-complete", nullptr);
    el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
}

LineEditor::~LineEditor() = default;

LineEditor::Outcome LineEditor::read(std::string& line) {
    Parts& parts = *parts_;
    parts.isInterrupted = false;
    el_resize(parts.editor.get());
    // Called before the prompt is shown, because the kernel would consume a Ctrl-D that is typed
    // right after it.
    el_set(parts.editor.get(), EL_PREP_TERM, 1);
    int count = 0;
    char const* const text = el_gets(parts.editor.get(), &count);
    if (parts.isInterrupted) {
        return Outcome::interrupted;
    }
    if (text == nullptr || count <= 0) {
        return Outcome::ended;
    }
    line.assign(text, static_cast<std::size_t>(count));
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.pop_back();
    }
    return Outcome::line;
}

void LineEditor::remember(const std::string& line) {
    HistEvent event{};
    ::history(parts_->history.get(), &event, H_ENTER, line.c_str());
    parts_->save();
}

std::string historyFile() {
    namespace fs = std::filesystem;
    const auto variable = [](char const* name) {
        char const* const value = std::getenv(name);
        return fs::path(value == nullptr ? "" : value);
    };
    fs::path base = variable("XDG_STATE_HOME");
    if (!base.is_absolute()) {
        base = variable("HOME");
        if (!base.is_absolute()) {
            return "";
        }
        base /= ".local/state";
    }
    fs::path folder;
    for (const fs::path& part : base / "kova") {
        folder /= part;
        ::mkdir(folder.c_str(), S_IRWXU);  // fails if it exists
    }
    return fs::is_directory(folder) ? (folder / "shell-history").string() : "";
}

}  // namespace kova::tool
