#pragma once

#include "project/decoderfaultguard.h"
#include "project/watchedfile.h"

#include <QAudioDecoder>
#include <QObject>
#include <QTimer>

#include <memory>

/// Sees off a decoder that is dropped while it may still be at work.
///
/// Stopping a decoder waits for its threads: for ever, and the window with it, if
/// one of them is asleep in a fault or in a read that does not come back. So it is
/// left to itself first. As nobody takes its buffers any more it comes to rest
/// after the next one, and only then is it destroyed. So is one that has come to rest
/// without any, which shows by its threads. One whose thread was put to sleep is
/// abandoned, and so is one that is busy without a sign of life for long, and one
/// still at work when the application has given it `kLastPatienceMs` at its end.
///
/// GUI thread, needs an event loop. A child of the application that ends itself.
class RetiredDecoder : public QObject {
    Q_OBJECT

public:
    static constexpr int kTickMs = 20;
    /// Ticks in a row without a read after which a decoder is idle, when its threads
    /// only wait for so many more; and after which it is lost, when they do not.
    static constexpr int kQuietTicks = 50;
    static constexpr int kWaitingTicks = 5;
    static constexpr int kLostTicks = 150;
    static constexpr int kLastPatienceMs = 500;

    /// Takes over `decoder`, which reads `file`; nothing is connected to it any
    /// more. `guard` has lived as long as the decoder. Never blocks.
    static void retire(std::unique_ptr<QAudioDecoder> decoder, std::unique_ptr<WatchedFile> file,
                       std::unique_ptr<DecoderFaultGuard> guard);

    /// Leaves decoder and file for good to a thread that sleeps or may sleep in
    /// them, and what it may still do to the guard.
    static void abandon(std::unique_ptr<QAudioDecoder> decoder, std::unique_ptr<WatchedFile> file,
                        std::unique_ptr<DecoderFaultGuard> guard);

    /// How many are still being seen off.
    [[nodiscard]] static int count();

    ~RetiredDecoder() override;
    Q_DISABLE_COPY_MOVE(RetiredDecoder)

private:
    RetiredDecoder(std::unique_ptr<QAudioDecoder> decoder, std::unique_ptr<WatchedFile> file,
                   std::unique_ptr<DecoderFaultGuard> guard, QObject* parent);

    void tick();
    bool isIdle();
    void waitAtTheEnd();

    std::unique_ptr<DecoderFaultGuard> m_guard;
    std::unique_ptr<WatchedFile> m_file;
    std::unique_ptr<QAudioDecoder> m_decoder; ///< null once it has been seen off
    QTimer m_ticker;
    bool m_hasDelivered = false;
    int m_quietTicks = 0;
    int m_waitingTicks = 0;
    quint64 m_stepsSeen = 0;
};
