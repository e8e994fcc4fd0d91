#include "support/allocationcounter.h"

#include <QList>
#include <QTest>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

namespace {

struct Free {
    void operator()(void* block) const { std::free(block); }
};

using Block = std::unique_ptr<void, Free>;

/// Keeps the compiler from leaving out a pair of new and delete.
template <typename T>
void use(T* pointer)
{
    asm volatile("" : : "g"(pointer) : "memory");
}

} // namespace

class TestAllocationCounter : public QObject {
    Q_OBJECT

private slots:

    void countsNothingWhileNothingIsAllocated()
    {
        const AllocationCounter counter;
        QCOMPARE(counter.count(), 0);
    }

    void countsAllocatingAndGrowing()
    {
        const AllocationCounter counter;
        const auto object = std::make_unique<int>(1);
        use(object.get());
        QCOMPARE(counter.count(), 1);
        const std::vector<double> values(100);
        use(values.data());
        QCOMPARE(counter.count(), 2);
        const Block fresh(std::malloc(16));
        use(fresh.get());
        QCOMPARE(counter.count(), 3);
        Block zeroed(std::calloc(4, 4));
        use(zeroed.get());
        QCOMPARE(counter.count(), 4);
        const Block grown(std::realloc(zeroed.release(), 1000));
        use(grown.get());
        QCOMPARE(counter.count(), 5);
    }

    void givingBackIsNotCounted()
    {
        Block block(std::malloc(16));
        use(block.get());
        const AllocationCounter counter;
        block.reset();
        QCOMPARE(counter.count(), 0);
    }

    void countsWhatTheToolkitAllocates()
    {
        QList<float> list(10);
        const AllocationCounter counter;
        list.resize(list.capacity() + 1000);
        QVERIFY(counter.count() > 0);
    }

    void leavesOtherThreadsOut()
    {
        std::atomic<bool> go = false;
        std::jthread other([&] {
            while (!go)
                std::this_thread::yield();
            use(std::make_unique<int>(1).get());
        });
        const AllocationCounter counter;
        go = true;
        other.join();
        QCOMPARE(counter.count(), 0);
    }
};

QTEST_APPLESS_MAIN(TestAllocationCounter)
#include "tst_allocationcounter.moc"
