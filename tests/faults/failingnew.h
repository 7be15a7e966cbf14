#ifndef KZ_TESTS_FAILINGNEW_H
#define KZ_TESTS_FAILINGNEW_H

/// Makes the nth allocation of this thread from now on fail, counted from 1, while it lives; all
/// others succeed. At most one per thread. Owned by the thread that made it.
class FailingNew {
public:
    explicit FailingNew(long nth);
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;

    /// True once the allocation has failed.
    bool HasFailed() const;
};

/// Suspends a `FailingNew` while it lives, for what the test allocates itself.
class PlentyOfMemory {
public:
    PlentyOfMemory();
    ~PlentyOfMemory();
    PlentyOfMemory(const PlentyOfMemory&) = delete;
    PlentyOfMemory& operator=(const PlentyOfMemory&) = delete;

private:
    long m_left;
};

#endif
