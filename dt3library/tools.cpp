#include "tools.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <streambuf>

namespace VESK3D {

namespace {

// Empty means the default sink. Swapped atomically, so that printing threads never wait for a lock
// of ours while a host replaces the sink.
std::shared_ptr<const MessageSink> pInstalledSink;

// Keeps each line whole on the console when several threads print.
std::mutex& consoleMutex()
{
    static std::mutex mutex;
    return mutex;
}

void deliver(MessageKind kind, const std::string& line, bool bStandardError)
{
    const std::shared_ptr<const MessageSink> pSink = std::atomic_load(&pInstalledSink);
    if (pSink == nullptr) {
        std::ostream& console = bStandardError ? std::cerr : std::cout;
        const std::lock_guard<std::mutex> lock(consoleMutex());
        console.write(line.data(), static_cast<std::streamsize>(line.size()));
        console.put('\n');
        console.flush();
        return;
    }
    try {
        (*pSink)(kind, line);
    } catch (...) {
        // Documented: a sink must not throw, and the printing paths could not pass it on.
    }
}

// Collects characters and hands each finished line to the sink.
class LineSplitter : public std::streambuf {
public:
    void setKind(MessageKind kind_) { kind = kind_; }

    ~LineSplitter() override
    {
        if (!pending.empty()) deliverPending();
    }

protected:
    int_type overflow(int_type c) override
    {
        if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
        const char character = traits_type::to_char_type(c);
        if (character == '\n')
            deliverPending();
        else
            pending.push_back(character);
        return c;
    }

    std::streamsize xsputn(const char* pText, std::streamsize count) override
    {
        const char* pEnd = pText + count;
        for (const char* p = pText; p < pEnd;) {
            const char* pLineEnd = std::find(p, pEnd, '\n');
            pending.append(p, pLineEnd);
            if (pLineEnd == pEnd) break;
            deliverPending();
            p = pLineEnd + 1;
        }
        return count;
    }

private:
    // Swapped out first: a sink that prints through the library starts a line of its own.
    void deliverPending()
    {
        std::string line;
        line.swap(pending);
        deliver(kind, line, false);
    }

    std::string pending;
    MessageKind kind = MESSAGE_INFO;
};

struct ThreadMessageStream {
    LineSplitter lines;
    std::ostream stream{&lines};
};

void consoleLine(MessageKind kind, const std::string& source, const char* label, const std::string& message)
{
    messageStream(kind) << std::endl << "      " << source << label << message << std::endl;
}

} // namespace

void setMessageSink(MessageSink sink)
{
    std::shared_ptr<const MessageSink> pSink;
    if (sink) pSink = std::make_shared<const MessageSink>(std::move(sink));
    std::atomic_store(&pInstalledSink, std::move(pSink));
}

std::ostream& messageStream(MessageKind kind)
{
    thread_local ThreadMessageStream threadStream;
    threadStream.lines.setKind(kind);
    // The library's numbers have always followed the number format of std::cout.
    std::ostream& stream = threadStream.stream;
    stream.flags(std::cout.flags());
    stream.precision(std::cout.precision());
    stream.fill(std::cout.fill());
    return stream;
}

void sendStandardErrorLine(MessageKind kind, const std::string& line)
{
    deliver(kind, line, true);
}

void error(const std::string& source, const std::string& message)
{
    consoleLine(MESSAGE_ERROR, source, ", ERROR: ", message);
}

void warning(const std::string& source, const std::string& message)
{
    consoleLine(MESSAGE_WARNING, source, ", WARNING: ", message);
}

void box(const std::string& message, bool, bool)
{
    const std::string rule(message.size() + 36, '*');
    messageStream(MESSAGE_ERROR) << "\n\n" + rule + "\n" + rule + "\n" + std::string(16, ' ') + message + "\n" + rule +
                                        "\n" + rule + "\n";
}

void assertionFailed(const char* condition, const char* file, int line)
{
    error("Vesk, ", std::string("Condition [ ") + condition + " failed ]");
    messageStream(MESSAGE_ERROR) << "      " << file << ":" << line << std::endl;
    throw VeskException(condition, file, line);
}

// The fault itself is the intended way to die, so the undefined-behaviour checker must not turn it
// into an ordinary exit.
__attribute__((no_sanitize("undefined"))) void goToHell(const std::string& reason)
{
    error("goToHell", " reason: " + reason);
    volatile int* volatile nowhere = nullptr;
    const int value = *nowhere;
    messageStream(MESSAGE_ERROR) << value << std::endl;
}

void exitProcess()
{
    std::exit(1);
}

} // namespace VESK3D
