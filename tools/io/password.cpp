#include "io/password.h"

#include "io/command_line.h"
#include "io/exit_status.h"
#include "io/input_stream.h"
#include "io/terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

namespace {

/// More than other programs accept, and the longest line that a terminal delivers.
size_t const maxPassword = 4095;

enum class LineResult { read, tooLong, failed };

/// Reads up to the end of the line or of the input, byte by byte, because the rest belongs to another reader.
template <typename ReadByte>
LineResult readLine(ReadByte readByte, std::string& line) {
    line.clear();
    line.reserve(maxPassword + 1); // Prevents reallocations, which would leave copies behind.
    for (;;) {
        char byte;
        ssize_t const size = readByte(byte);
        if (size < 0)
            return LineResult::failed;
        if (size == 0 || byte == '\n')
            return LineResult::read;
        if (line.size() > maxPassword)
            return LineResult::tooLong;
        line += byte;
    }
}

/// Removes a byte-order mark at the start and a carriage return at the end, which editors may leave.
void trim(std::string& line) {
    if (line.ends_with('\r'))
        line.pop_back();
    if (line.starts_with("\xEF\xBB\xBF"))
        line.erase(0, 3);
}

bool readFromFile(std::string const& path, Password& to) {
    InputStream input;
    auto const readByte = [&](char& byte) -> ssize_t {
        size_t const size = input.read({reinterpret_cast<unsigned char*>(&byte), 1});
        return input.error() ? -1 : static_cast<ssize_t>(size);
    };
    LineResult const result = input.open(path) ? readLine(readByte, to.text) : LineResult::failed;
    trim(to.text);
    if (result != LineResult::read)
        badInput(
            path + ": " +
            (result == LineResult::failed ? std::strerror(input.error()) : "its first line is too long"));
    return result == LineResult::read;
}

volatile std::sig_atomic_t interruption = 0;

extern "C" void noteInterruption(int number) { interruption = number; }

/// Holds back the signals that end or stop the program, for the lifetime of the object. `waitFor` notes them.
class HoldInterruptions {
public:
    HoldInterruptions() {
        interruption = 0;
        sigset_t set;
        sigemptyset(&set);
        for (int number : signals)
            sigaddset(&set, number);
        sigprocmask(SIG_BLOCK, &set, &maskBefore);
        struct sigaction action {};
        action.sa_handler = noteInterruption;
        for (size_t i = 0; i < std::size(signals); ++i) {
            sigaction(signals[i], nullptr, &before[i]);
            if (before[i].sa_handler != SIG_IGN)
                sigaction(signals[i], &action, nullptr);
        }
    }
    ~HoldInterruptions() {
        for (size_t i = 0; i < std::size(signals); ++i)
            sigaction(signals[i], &before[i], nullptr);
        sigprocmask(SIG_SETMASK, &maskBefore, nullptr);
    }
    HoldInterruptions(HoldInterruptions const&) = delete;
    HoldInterruptions& operator=(HoldInterruptions const&) = delete;

    /// Waits until input is available. Returns false after a signal.
    bool waitFor(int descriptor) const {
        pollfd wanted{descriptor, POLLIN, 0};
        return ppoll(&wanted, 1, nullptr, &maskBefore) > 0;
    }

private:
    static constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
    struct sigaction before[std::size(signals)];
    sigset_t maskBefore;
};

/// The controlling terminal, also if input and output are redirected.
class PasswordPrompt {
public:
    PasswordPrompt() : terminal(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)) {}
    ~PasswordPrompt() {
        if (terminal >= 0)
            close(terminal);
    }
    PasswordPrompt(PasswordPrompt const&) = delete;
    PasswordPrompt& operator=(PasswordPrompt const&) = delete;

    bool isPossible() const { return terminal >= 0; }

    LineResult ask(std::string const& question, std::string& answer) {
        for (;;) {
            LineResult const result = askOnce(question, answer);
            if (interruption == 0)
                return result;
            // Delivers the held-back signal. After a stop the program continues here and asks again.
            std::raise(interruption);
        }
    }

private:
    LineResult askOnce(std::string const& question, std::string& answer) {
        HoldInterruptions const held;
        termios shown;
        if (tcgetattr(terminal, &shown) != 0)
            return LineResult::failed;
        termios hidden = shown;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHOE | ECHOK | ECHONL);
        tcsetattr(terminal, TCSAFLUSH, &hidden);
        write(question);
        auto const readByte = [&](char& byte) {
            return held.waitFor(terminal) ? ::read(terminal, &byte, 1) : -1;
        };
        LineResult const result = readLine(readByte, answer);
        tcsetattr(terminal, TCSAFLUSH, &shown);
        write("\n");
        return result;
    }

    void write(std::string const& text) {
        // If this fails, the answer is read all the same.
        [[maybe_unused]] ssize_t const written = ::write(terminal, text.data(), text.size());
    }

    int terminal;
};

bool readFromTerminal(PasswordPrompt& prompt, std::string const& question, Password& to) {
    LineResult const result = prompt.ask(question, to.text);
    if (result != LineResult::read)
        badInput(result == LineResult::failed ? "the password could not be read from the terminal"
                                              : "the password is too long");
    return result == LineResult::read;
}

} // namespace

void addPasswordOptions(CommandLine& commandLine, PasswordSource& source, std::string const& whose,
                        std::string const& prefix) {
    source.option = "--" + prefix + "password";
    Parameter const file =
        commandLine
            .text(source.option + "-file", source.file,
                  "the file whose first line is the password\n" + whose + "; - is standard input")
            .valueName("FILE");
    commandLine
        .text(source.option, source.given.text,
              "the password itself, for tests: other users of\nthe machine can see command lines")
        .valueName("PASSWORD")
        .excludes(file);
}

std::unique_ptr<Password> readPassword(PasswordSource const& source, AskFor kind, std::string const& whose,
                                       int* status) {
    *status = exitBadInput;
    auto password = std::make_unique<Password>();
    if (!source.given.text.empty()) {
        password->text = source.given.text;
        return password;
    }
    if (!source.file.empty()) {
        if (!readFromFile(source.file, *password))
            return nullptr;
    } else {
        PasswordPrompt prompt;
        if (!prompt.isPossible()) {
            *status = wrongUsage(whose + " needs a password: give " + source.option + "-file FILE");
            return nullptr;
        }
        char const* const word = kind == AskFor::fresh ? "New password for " : "Password of ";
        if (!readFromTerminal(prompt, word + terminal::printable(whose) + ": ", *password))
            return nullptr;
        Password again;
        if (kind == AskFor::fresh && !password->text.empty()) {
            if (!readFromTerminal(prompt, "Repeat the password: ", again))
                return nullptr;
            if (again.text != password->text) {
                badInput("the two passwords differ");
                return nullptr;
            }
        }
    }
    if (kind == AskFor::fresh && password->text.empty()) {
        badInput("the password is empty");
        return nullptr;
    }
    if (kind == AskFor::fresh && password->text.find('\0') != std::string::npos) {
        badInput("the password has a zero byte, where other programs would truncate it");
        return nullptr;
    }
    return password;
}
