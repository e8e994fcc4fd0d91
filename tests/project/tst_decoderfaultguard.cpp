// Each fault happens in a process of its own, as most of them end it.

#include "project/decoderfaultguard.h"
#include "project/renderfault.h"

#include <QTest>

#include <chrono>
#include <csignal>
#include <functional>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using Fault = std::function<void()>;

constexpr quintptr kNearNull = 64;
constexpr int kCaught = 3;
constexpr int kNothing = 4;
constexpr unsigned kLongestSeconds = 20;

// In the child: commits `fault` on a thread of its own under a guard.
[[noreturn]] void commitUnderGuard(const Fault& fault)
{
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    // What a sanitizer would do with the signal is not what is tested.
    std::signal(SIGSEGV, SIG_DFL);
    ::alarm(kLongestSeconds);
    const DecoderFaultGuard guard;
    std::atomic_bool isOver = false;
    std::thread thread([&] {
        fault();
        isOver = true;
    });
    while (!guard.hasCaught() && !isOver)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ::_exit(guard.hasCaught() ? kCaught : kNothing);
}

// The exit code of such a child, or the negative number of the signal that ended it.
int outcomeOf(const Fault& fault)
{
    const pid_t child = ::fork();
    if (child == 0)
        commitUnderGuard(fault);
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child)
        return 0;
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

void readWhatIsForbidden()
{
    constexpr int kLowPage = 512 * 1024; // near null, where the system lets us
    void* const page = ::mmap(reinterpret_cast<void*>(quintptr(kLowPage)), 4096, PROT_NONE,
                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    render_fault::readAt(reinterpret_cast<quintptr>(page));
}

} // namespace

Q_DECLARE_METATYPE(Fault)

class TestDecoderFaultGuard : public QObject {
    Q_OBJECT

private slots:

    void catchesNothingButAnAccessNearNullOnTheRenderer_data()
    {
        QTest::addColumn<Fault>("fault");
        QTest::addColumn<int>("outcome");
        const auto row = [](const char* name, bool onRenderer, const Fault& fault, int outcome) {
            QTest::newRow(name) << Fault([=] {
                if (onRenderer)
                    render_fault::becomeRenderer();
                fault();
            }) << outcome;
        };
        row(
            "a read through null", true, [] { render_fault::readAt(0); }, kCaught);
        row(
            "a read near null", true, [] { render_fault::readAt(kNearNull); }, kCaught);
        row(
            "a read near null elsewhere", false, [] { render_fault::readAt(kNearNull); }, -SIGSEGV);
        row(
            "a read far from null", true, [] { render_fault::readAt(quintptr{1} << 46); },
            -SIGSEGV);
        row(
            "a read from no possible address", true,
            [] { render_fault::readAt(quintptr{1} << 62); }, -SIGSEGV);
        row("a read of a page that is there", true, readWhatIsForbidden, -SIGSEGV);
        row(
            "a write near null", true, [] { render_fault::writeAt(kNearNull); }, kCaught);
        row(
            "a write near null elsewhere", false, [] { render_fault::writeAt(kNearNull); },
            -SIGSEGV);
        row(
            "a write far from null", true, [] { render_fault::writeAt(quintptr{1} << 46); },
            -SIGSEGV);
        row(
            "a signal that was sent", true, [] { std::raise(SIGSEGV); }, -SIGSEGV);
        row(
            "no fault", true, [] {}, kNothing);
    }

    void catchesNothingButAnAccessNearNullOnTheRenderer()
    {
        QFETCH(Fault, fault);
        QTEST(outcomeOf(fault), "outcome");
    }
};

QTEST_APPLESS_MAIN(TestDecoderFaultGuard)
#include "tst_decoderfaultguard.moc"
