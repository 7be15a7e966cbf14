#ifndef KZ_TESTS_RECORDINGGENERATOR_H
#define KZ_TESTS_RECORDINGGENERATOR_H

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kzstatisticsgenerator.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/condition.h"
#include "ryp/testclock.h"
#include "support/message.h"

/// A host that writes down what its hooks receive. Safe for concurrent use.
class RecordingGenerator : public CKZStatGenMain {
public:
    explicit RecordingGenerator(const char* name = "gen") : CKZStatGenMain(name) {}

    struct ClientCall {
        int clientId;
        double sliceEnd;
        std::size_t names;
    };
    struct TotalCall {
        double sliceLength;
        double elapsed;
        std::size_t names;
    };

    void SendClientDictionary(CKZStatGenMeasurementDictionary* perClient, int clientId,
                              double sliceEnd) override {
        const RWMutexLock::LockGuard guard(m_lock);
        m_hooks.push_back("client " + std::to_string(clientId));
        m_clientCalls.push_back({clientId, sliceEnd, perClient->entries()});
    }

    void SendTotalDictionary(CKZStatGenMeasurementDictionary* merged, double sliceLength,
                             double elapsed) override {
        const RWMutexLock::LockGuard guard(m_lock);
        m_hooks.push_back("total");
        m_totalCalls.push_back({sliceLength, elapsed, merged->entries()});
    }

    int SendDictionaryString(RWCString& text, double elapsed, const char* name) override {
        const RWMutexLock::LockGuard guard(m_lock);
        m_hooks.push_back("text");
        m_texts.push_back(text);
        m_textElapsed.push_back(elapsed);
        m_textNames.push_back(name);
        m_changed.NotifyAll();
        return m_status;
    }

    void AnswerWith(int status) {
        const RWMutexLock::LockGuard guard(m_lock);
        m_status = status;
    }

    std::vector<std::string> Hooks() const { return Copy(m_hooks); }
    std::vector<ClientCall> ClientCalls() const { return Copy(m_clientCalls); }
    std::vector<TotalCall> TotalCalls() const { return Copy(m_totalCalls); }
    std::vector<double> TextElapsed() const { return Copy(m_textElapsed); }
    std::vector<std::string> TextNames() const { return Copy(m_textNames); }

    std::vector<Message> Messages() const {
        const RWMutexLock::LockGuard guard(m_lock);
        return std::vector<Message>(m_texts.begin(), m_texts.end());
    }
    /// Both REQUIRE: a message was sent.
    RWCString LastText() const {
        const RWMutexLock::LockGuard guard(m_lock);
        return m_texts.back();
    }
    Message LastMessage() const { return Message(LastText()); }
    std::string ReadableMessage(std::size_t index) const {
        const RWMutexLock::LockGuard guard(m_lock);
        return Readable(m_texts.at(index));
    }

    std::size_t MessageCount() const {
        const RWMutexLock::LockGuard guard(m_lock);
        return m_texts.size();
    }
    void WaitForMessages(std::size_t count) const {
        const RWMutexLock::LockGuard guard(m_lock);
        while (m_texts.size() < count) m_changed.Wait(m_lock);
    }

    /// Packs every slice that waits for it, on the calling thread. Returns the last status, or 0
    /// where there was none.
    int PackAll(RyPEventQueue& packQueue) {
        int status = 0;
        while (!packQueue.isEmpty()) status = SendSlice(WaitForSlice());
        return status;
    }

private:
    template <class Vector>
    Vector Copy(const Vector& vector) const RYP_NO_THREAD_SAFETY_ANALYSIS {
        const RWMutexLock::LockGuard guard(m_lock);
        return vector;
    }

    mutable RWMutexLock m_lock;
    mutable RyPCondition m_changed;
    int m_status = 1;
    std::vector<std::string> m_hooks;
    std::vector<ClientCall> m_clientCalls;
    std::vector<TotalCall> m_totalCalls;
    std::vector<RWCString> m_texts;
    std::vector<double> m_textElapsed;
    std::vector<std::string> m_textNames;
};

/// The two loops of a generator on threads of their own, terminated and joined at the end.
/// Owned by the thread that made it.
class RunningLoops {
public:
    explicit RunningLoops(CKZStatGenMain& main)
        : m_main(main),
          m_pack([this] { Run(&CKZStatGenMain::doPackWork); }),
          m_garbage([this] { Run(&CKZStatGenMain::doGarbageWork); }) {}
    ~RunningLoops() { Stop(); }
    RunningLoops(const RunningLoops&) = delete;
    RunningLoops& operator=(const RunningLoops&) = delete;

    void Stop() {
        if (!m_pack.joinable()) return;
        m_main.Terminate();
        // A loop that is asleep on a clock that stands still would never see it.
        if (RyPTestClock* const clock = RyPTestClock::Current())
            for (; m_running > 0; std::this_thread::yield()) clock->Advance(1.0);
        m_main.WaitForTerminateToEnd();
        m_pack.join();
        m_garbage.join();
    }

private:
    void Run(void (CKZStatGenMain::*loop)()) {
        (m_main.*loop)();
        --m_running;
    }

    CKZStatGenMain& m_main;
    std::atomic<int> m_running{2};
    std::thread m_pack;
    std::thread m_garbage;
};

#endif
