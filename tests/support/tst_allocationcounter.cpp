#include "support/allocationcounter.h"

#include <QList>
#include <QTest>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

namespace {

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
        void* block = std::malloc(16);
        use(block);
        QCOMPARE(counter.count(), 3);
        std::free(block);
        block = std::calloc(4, 4);
        use(block);
        QCOMPARE(counter.count(), 4);
        std::free(block);
        block = std::malloc(16);
        block = std::realloc(block, 1000);
        use(block);
        QCOMPARE(counter.count(), 6);
        std::free(block);
        QCOMPARE(counter.count(), 6);
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
