/*
 * The life of a slice, from the first value reported into it to its destruction, as the generator,
 * its slices, its clients and their two queues carry it out. To be read beside
 * src/kzstatisticsgenerator.cpp: an inline bears the name of the function that it stands for.
 * README.md tells what is left out and what each check shows.
 *
 * What is one step here may be many in the program where no other thread can tell: a run of
 * accesses to data that others touch only under a lock which the process holds, or that nobody else
 * touches, with at most one access in it that others see without such a lock. So a lock is taken in
 * the step that uses it first and let go in the step that used it last. Where a step holds more
 * than one access to the clock, a flag, a queue, or a cache and its count, a comment tells why.
 */

/* Sizes, and what the environment may do; scripts/verify chooses them for each check. */
#ifndef SLICES
#define SLICES 3 /* the last one stays current, so SLICES - 1 of them are packed */
#endif
#ifndef CLIENTS
#define CLIENTS 2
#endif
#ifndef THREADS
#define THREADS 1 /* that use each client */
#endif
#ifndef LANES
#define LANES 2 /* 1: all threads have the same, as they may in the program */
#endif
#ifndef VALUES
#define VALUES 1 /* that each thread reports */
#endif
#ifndef MOVES
#define MOVES 0 /* calls of GetNewDictionary by each thread */
#endif
#ifndef FLUSHES
#define FLUSHES 0 /* calls of FlushStatsCache by each thread */
#endif
#ifndef LIVES
#define LIVES 1 /* handles that each client makes one after another under its id */
#endif
#ifndef THROWS
#define THROWS 0 /* exceptions that end the pack loop, which is then run again */
#endif
#ifndef PER_SLICE
#define PER_SLICE 5 /* dictionaries that a slice has room for; too few is reported */
#endif
#ifndef CACHE_SIZE
#define CACHE_SIZE 2 /* values that a dictionary caches before it is flushed */
#endif

/*
 * SENT_EARLY: the host sends the first slice at any moment, also while it is current, and frees it
 * when it came off the queue. SHORT_OF_MEMORY: WaitForSlice may fail to collect all dictionaries.
 * DISTRIBUTIONS: they are collected.
 */

#if CLIENTS * THREADS * VALUES > 4
#error "sets of values have room for four"
#endif
#if THREADS > 1 && LIVES > 1
#error "a client that threads share lives once"
#endif

#define NONE 255

#define DICTIONARIES (SLICES * PER_SLICE)
#define SLICE_OF(d) ((d) / PER_SLICE)
#define HANDLES (CLIENTS * LIVES + 1)
#define DUMMY_HANDLE (CLIENTS * LIVES)
#define ID_OF(handle) ((handle) / LIVES)

#define CLIENT_OF(thread) ((thread) / THREADS)

/* Of the threads of clients, the first and the garbage thread share a lane. */
#define LANE_OF(thread) ((thread) % LANES)
#define GARBAGE_LANE 0

/* Hosts often make clients on one thread and use them on others. */
#ifdef MADE_ELSEWHERE
#define FIRST_LANE_OF(thread) (LANES - 1 - LANE_OF(thread))
#else
#define FIRST_LANE_OF(thread) LANE_OF(thread)
#endif

/* On one lane. On two, a client also takes steps while the other one takes a dictionary. */
#if CLIENTS > 1 && THREADS == 1 && LANES == 1
#define CLIENTS_ARE_ALIKE
#endif

#define SET_OF(value) (1 << (value))
#define VALUES_OF_CLIENT (THREADS * VALUES)
#define ALL_VALUES ((1 << (CLIENTS * VALUES_OF_CLIENT)) - 1)
#define VALUES_OF(clientId) (((1 << VALUES_OF_CLIENT) - 1) << ((clientId) * VALUES_OF_CLIENT))

/* Two ticks to a slice, so that a moment can be before, at or past its end. */
#define END_OF(s) (2 * ((s) + 1))
#define LAST_TICK (END_OF(SLICES - 1) - 1)

/*
 * The properties. Never 0 and no part of a state: each assertion bears the name of the property
 * that it belongs to, so that a failure tells what it contradicts.
 */
hidden byte values_exact = 1;
hidden byte no_use_after_free = 1;
hidden byte holds_exact = 1;
hidden byte packed_and_freed_once = 1;
hidden byte sent_or_counted = 1;
hidden byte lock_order = 1;
hidden byte one_writer = 1;
hidden byte spares_unused = 1;
hidden byte distributions_exact = 1;
hidden byte model_has_room = 1;
#define CHECK(property, condition) assert(!property || (condition))

/* ------------------------------------------------------------------------------------- state */

/* A table of distributions stays in its row: that of a lane, or the pack thread's. */
#define ROWS (LANES + 1)
#define PACK_THREADS_ROW LANES
#define FIRST_TABLE_OF(row) (1 + (row) * SLICES)
#define ROW_OF(t) (((t) - 1) / SLICES)

typedef Slice {
    bit alive;
    bit open;
    bit inTimeline;
    bit isCollected; /* also where it was never current, so that it has no shelves */
#ifdef WARNS
    bit isUnsent;
#endif
    byte held[LANES];
    unsigned dictionaries : 4; /* wherever they are */
#ifdef DISTRIBUTIONS
    byte table[ROWS]; /* of distributions; 0 where it has none */
    unsigned joined : 4; /* the values in its distributions; only the checks look at it */
#endif
    byte accepted /* the values that its dictionaries took; only the checks look at it */
};

/* Where a dictionary is: on the shelf of its lane, taken off it, or in the slice's map. */
#define Shelved 1
#define Taken 2
#define Inserted 3

typedef Dictionary {
    unsigned place : 2; /* 0 before and afterwards */
    byte client; /* the handle that holds it, or NONE */
    unsigned clientId : 4;
    bit lane; /* constant */
    bit locked;
    unsigned cachedCount : 2;
    unsigned aggregated : 4;
    byte cache[CACHE_SIZE]
};

#ifdef DISTRIBUTIONS
/* Only the checks look at what is in use. */
typedef Table {
    bit isTaken; /* others are spare, or not made yet */
    bit isInUse; /* a flush is in it */
    unsigned values : 4 /* that were counted in it */
};
#endif

typedef Client {
    bit alive;
    bit lane; /* changes under the lane that it was, while there is no dictionary */
    byte dictionary
};

Slice slice[SLICES];
Dictionary dictionary[DICTIONARIES]; /* those of slice s from s * PER_SLICE on, as filed */
Client client[HANDLES];
#ifdef DISTRIBUTIONS
Table table[1 + ROWS * SLICES]; /* those of a row from FIRST_TABLE_OF(row) on */
bit namesInUse[ROWS]; /* a flush is in the names that the row knows */
#endif

byte now = 1;
bit terminated, stopping;
byte currentSlice; /* written under the timeline lock, read by clients under their lanes */
byte currentEndTime = END_OF(0);
byte lane[LANES], timelineLock; /* 0, or one more than the process that has it */
chan packQueue = [SLICES] of { byte };
chan garbageQueue = [SLICES] of { byte };
bit packReleased, garbageReleased;
bit packDone = 1, garbageDone = 1;

/* What the program has no variable for: values told by messages, values given up, slices sent. */
byte inMessages, dropped;
byte sent;
#ifdef CLIENTS_ARE_ALIKE
byte clientsCome;
#endif
#if THREADS > 1
byte users = THREADS; /* of the shared client */
#endif
byte clientsGone;
#ifdef WARNS
byte counted, begunAtCount; /* slices that were counted as unsent, and the current one then */
byte countedValues, acceptedAtCount; /* in them, and in all slices when the count began */
#endif
bit packJoined, garbageJoined;
bit ended;

/*
 * Scratch of a step, so no part of a state: a search that goes back over a d_step does not restore
 * it. So `found` is assigned in none, and `entry` is counted on behind each assignment of which it
 * is the index: going back restores it first.
 */
hidden byte entry;
#ifdef DISTRIBUTIONS
hidden byte found;
hidden byte collected;
#endif

/* ------------------------------------------------------------------------------------- locks */

#define LANE_RANK 1
#define TIMELINE_RANK 2
#define SLICE_RANK 4
#define DICTIONARY_RANK 8

/* `ranks` is the sum of the ranks of the locks that the process holds. */
#define CHECK_RANK(rank) CHECK(lock_order, ranks < rank)

/* Whoever asks for a lock it has already is let in: that shows as a breach of the order. */
#define IS_FREE(lock) (lock == 0 || lock == _pid + 1)

#define ACQUIRE(lock, rank) \
    IS_FREE(lock); \
    CHECK_RANK(rank); \
    lock = _pid + 1; \
    ranks = ranks + rank

#define RELEASE(lock, rank) \
    lock = 0; \
    ranks = ranks - rank

/* `held` is the lane that the process has, or is about to lock; 0 where it has none. */
#define UNLOCK_LANE \
    RELEASE(lane[held], LANE_RANK); \
    held = 0

/*
 * Part of a step: every lane is locked and unlocked, one by one. That changes nothing, so a lane
 * that is free is passed in the same step: passing it later would allow nothing more.
 */
inline passLanes() {
    CHECK_RANK(LANE_RANK);
    lane[0] == 0;
#if LANES > 1 && !defined DEFECT_LANE_LEFT_OUT
    lane[1] == 0;
#endif
    skip
}

#define CHECK_SLICE(s) CHECK(no_use_after_free, slice[s].alive)
#define CHECK_DICTIONARY(d) CHECK(no_use_after_free, d != NONE && slice[SLICE_OF(d)].alive)
#define CHECK_CLIENT(c) CHECK(no_use_after_free, client[c].alive)

/* ------------------------------------------------------------------------------------- clock */

/* Part of a step. Time passes unseen, so the clock moves when somebody looks at it. */
inline RyPSysTime() {
    do
    :: now < LAST_TICK -> now++
    :: true -> break
    od
}

/* ------------------------------------------------------------------------------------ queues */

#define ItemArrived 0
#define TimedOut 1
#define Released 2

/* Part of a step. Queued items are handed out before a release is told. */
inline Queue_waitEvent(queue, released) {
    if
    :: nempty(queue) -> queue ? inHand; status = ItemArrived
    :: empty(queue) && released -> status = Released
#ifndef ENDLESS_WAITS
    :: empty(queue) && !released -> status = TimedOut
#endif
    fi
}

/* ------------------------------------------------------------------------------ distributions */

#ifdef DISTRIBUTIONS
#define TABLE_OF(s, row) table[slice[s].table[row]]
#define HAS_TABLE(s, t) (slice[s].table[ROW_OF(t)] == t)

/* A slice has one table of each row at most, so that there are enough. */
#define CHECK_SPARE(t) \
    CHECK(model_has_room, !table[t].isTaken); \
    CHECK(spares_unused, \
          !table[t].isInUse && !HAS_TABLE(0, t) && !HAS_TABLE(1, t) && !HAS_TABLE(SLICES - 1, t)); \
    CHECK(spares_unused, !table[t].values)

/*
 * Part of a step, with the lane of the row: leaves the slice's table in `counting`. While the lock
 * of the spare tables is held, one is taken or given back, and nothing else is locked.
 */
inline Slice_FindTable(s, row) {
    CHECK_SLICE(s);
    if
    :: slice[s].table[row] == 0 ->
       found = FIRST_TABLE_OF(row);
       found = (table[found].isTaken -> found + 1 : found);
       found = (table[found].isTaken && SLICES > 2 -> found + 1 : found);
       CHECK_SPARE(found);
       slice[s].table[row] = found;
       TABLE_OF(s, row).isTaken = 1
    :: else
    fi;
    counting = slice[s].table[row]
}

/*
 * Part of a step: a flush is in the table until Table_endCounting, and counts `flushed` there. For
 * a name that is new to the dictionary it asks the names that the row knows, and may add to them.
 */
inline Table_beginCounting(s, row) {
    Slice_FindTable(s, row);
    CHECK(one_writer, !table[counting].isInUse && !namesInUse[row]);
    table[counting].isInUse = 1;
    namesInUse[row] = 1;
    CHECK(distributions_exact, !(table[counting].values & flushed));
    table[counting].values = table[counting].values | flushed;
    flushed = 0
}

inline Table_endCounting() {
    if
    :: counting != 0 ->
       table[counting].isInUse = 0;
       namesInUse[ROW_OF(counting)] = 0;
       counting = 0
    :: else
    fi
}

/* Part of a step: the table of that row is added to the slice's distributions and given back. */
inline Slice_joinTable(s, row) {
    if
    :: slice[s].table[row] != 0 ->
       CHECK(one_writer, !TABLE_OF(s, row).isInUse);
       CHECK(distributions_exact, !(slice[s].joined & TABLE_OF(s, row).values));
       slice[s].joined = slice[s].joined | TABLE_OF(s, row).values;
       TABLE_OF(s, row).values = 0;
       TABLE_OF(s, row).isTaken = 0;
#ifndef DEFECT_TABLE_KEPT_BY_SLICE
       slice[s].table[row] = 0
#endif
    :: else
    fi
}

/* Part of a step. A slice that is not sent has its tables until it is destroyed. */
inline Table_destroy(s, row) {
    if
    :: slice[s].table[row] != 0 ->
       CHECK(spares_unused, TABLE_OF(s, row).isTaken);
       Slice_joinTable(s, row); /* for the checks only */
       slice[s].table[row] = 0
    :: else
    fi
}
#endif

/* ------------------------------------------------------------------------------- dictionaries */

/* What excludes two flushes of a dictionary: its lock, its lane, or both as in the program. */
#ifdef DEFECT_FLUSHED_WITHOUT_DICTIONARY_LOCK
#define LOCK_DICTIONARY(d) CHECK_RANK(DICTIONARY_RANK)
#else
#define LOCK_DICTIONARY(d) \
    !dictionary[d].locked; \
    CHECK_RANK(DICTIONARY_RANK); \
    dictionary[d].locked = 1
#endif

/*
 * The pack thread flushes what is cached in a closed slice; without distributions its client may,
 * too. This test and the search for a table may share a step: who clears the flag between them
 * waits for the lane, and a table that comes back might as well come back before.
 */
#if defined DISTRIBUTIONS && !defined DEFECT_FLUSHED_INTO_CLOSED_SLICE
#define LEAVES_FLUSH_TO_PACK_THREAD(d) (!slice[SLICE_OF(d)].open)
#else
#define LEAVES_FLUSH_TO_PACK_THREAD(d) false
#endif

#if defined DEFECT_COUNTED_AFTER_FLUSH || defined DEFECT_COUNTED_OUTSIDE_LANE
#define COUNTS_LATE
#define COUNTS_WITHIN_FLUSH(row) (row == PACK_THREADS_ROW)
#else
#define COUNTS_WITHIN_FLUSH(row) true
#endif

/*
 * FlushStatsCache in two steps: first the values show twice, then the cache is empty. The count is
 * looked at before the lock and, as it may have become 0 since, once more behind it. Distributions
 * are collected in the tables of that row.
 */
inline Dictionary_beginFlush(d, row) {
    CHECK_DICTIONARY(d);
    if
    :: dictionary[d].cachedCount > 0 ->
       LOCK_DICTIONARY(d);
       isFlushing = 1;
       entry = 0;
       do
       :: entry < dictionary[d].cachedCount ->
          CHECK(values_exact, !(dictionary[d].aggregated & SET_OF(dictionary[d].cache[entry])));
          dictionary[d].aggregated =
              dictionary[d].aggregated | SET_OF(dictionary[d].cache[entry]);
#ifdef DISTRIBUTIONS
          flushed = flushed | SET_OF(dictionary[d].cache[entry]);
#endif
          entry++
       :: else -> break
       od;
#ifdef DISTRIBUTIONS
       if
       :: flushed != 0 && COUNTS_WITHIN_FLUSH(row) -> Table_beginCounting(SLICE_OF(d), row)
       :: else
       fi
#endif
    :: else
    fi
}

inline Dictionary_endFlush(d) {
#ifdef DISTRIBUTIONS
    Table_endCounting();
#endif
    if
    :: isFlushing ->
       CHECK_DICTIONARY(d);
       dictionary[d].cachedCount = 0;
       dictionary[d].cache[0] = 0;
       dictionary[d].cache[CACHE_SIZE - 1] = 0;
       dictionary[d].locked = 0;
       isFlushing = 0
    :: else
    fi
}

/* Part of a step. `cached` was read in an earlier one: the cache has no lock of its own. */
inline Dictionary_CacheValue(d, value) {
    CHECK_DICTIONARY(d);
    dictionary[d].cache[cached] = value;
    dictionary[d].cachedCount = cached + 1;
    cached = 0;
    slice[SLICE_OF(d)].accepted = slice[SLICE_OF(d)].accepted | SET_OF(value)
}

/* ------------------------------------------------------------------------------------- slices */

/* Part of a step. */
inline Slice_construct(s) {
    slice[s].alive = 1;
    slice[s].open = 1;
#ifdef WARNS
    slice[s].isUnsent = 1;
#endif
    slice[s].isCollected = 1;
    slice[s].inTimeline = 1
}

/* Part of a step, with the lane of `self`; leaves the new dictionary in `fresh`. */
inline Slice_Shelve(s, id) {
    CHECK_SLICE(s);
    CHECK(model_has_room, slice[s].dictionaries < PER_SLICE);
    fresh = s * PER_SLICE + slice[s].dictionaries;
    dictionary[fresh].place = Shelved;
    dictionary[fresh].clientId = id;
    dictionary[fresh].lane = client[self].lane;
    slice[s].dictionaries++;
    slice[s].held[client[self].lane]++
}

#ifdef DEFECT_HOLD_RELEASED_IN_OTHER_LANE
#define LANE_OF_HOLD(d) (LANES - 1 - dictionary[d].lane)
#else
#define LANE_OF_HOLD(d) dictionary[d].lane
#endif

/* Part of a step, with the lane of the dictionary. */
inline Slice_NoteLeft(d) {
    CHECK_SLICE(SLICE_OF(d));
    CHECK(holds_exact, slice[SLICE_OF(d)].held[LANE_OF_HOLD(d)] > 0);
    slice[SLICE_OF(d)].held[LANE_OF_HOLD(d)]--
}

/* Nobody files in a slice that is not current, so that the lanes may be read at once. */
#if LANES > 1
#define GET_COUNT_Z0(s) (slice[s].held[0] + slice[s].held[1])
#else
#define GET_COUNT_Z0(s) slice[s].held[0]
#endif

/* Part of a step. Where memory runs out, that call to Collect does nothing more. */
#if THROWS || defined SHORT_OF_MEMORY
#define MAY_RUN_OUT(mayFail) \
    if \
    :: outOfMemory = outOfMemory || (mayFail) \
    :: true \
    fi
#define HAS_MEMORY !outOfMemory
#else
#define MAY_RUN_OUT(mayFail) skip
#define HAS_MEMORY true
#endif

/* Part of a step, with the lane, and the slice's lock: all or nothing. */
inline Slice_TakeOffShelf(s, laneOfShelf, mayFail) {
    CHECK_SLICE(s);
    CHECK_RANK(LANE_RANK);
    lane[laneOfShelf] == 0 || !(HAS_MEMORY);
    MAY_RUN_OUT(mayFail);
    entry = s * PER_SLICE;
    do
    :: entry < s * PER_SLICE + slice[s].dictionaries ->
       dictionary[entry].place = (dictionary[entry].place == Shelved &&
                                          dictionary[entry].lane == laneOfShelf && HAS_MEMORY
                                      -> Taken
                                      : dictionary[entry].place);
       entry++
    :: else -> break
    od
}

/* Part of a step, with the slice's lock: one after the other. */
inline Slice_InsertAll(s, mayFail) {
    CHECK_RANK(SLICE_RANK);
    entry = s * PER_SLICE;
    do
    :: entry < s * PER_SLICE + slice[s].dictionaries ->
       if
       :: dictionary[entry].place == Taken ->
          MAY_RUN_OUT(mayFail);
          dictionary[entry].place = (HAS_MEMORY -> Inserted : Taken)
       :: else
       fi;
       entry++
    :: else -> break
    od
}

/*
 * Once it succeeded after the slice was over, there is nothing more to do. What was not inserted
 * when memory ran out is left to the next call. Only who has the slice in hand looks at what is
 * taken or inserted, so that both may share a step.
 */
inline Slice_Collect(s, mayFail) {
    if
    :: slice[s].isCollected
    :: atomic { !slice[s].isCollected -> isOver = (currentSlice != s) };
#if LANES > 1
       atomic { Slice_TakeOffShelf(s, 0, mayFail) };
#endif
       atomic {
#ifndef DEFECT_LANE_LEFT_OUT
           Slice_TakeOffShelf(s, LANES - 1, mayFail);
#endif
           Slice_InsertAll(s, mayFail);
#ifdef DEFECT_OVER_READ_AFTER_PASSAGE
           isOver = (currentSlice != s);
#endif
#ifdef DEFECT_CURRENT_SLICE_COLLECTED_FOR_GOOD
           isOver = 1;
#endif
           slice[s].isCollected = isOver && HAS_MEMORY;
           isOver = 0
       }
    fi
}

/*
 * Part of a step: from `position` on to a dictionary that a client holds. The program looks under
 * each one's lane. A dictionary that was left stays so, and not to wait for its lane only gives
 * more freedom; whoever finds one that is held looks again under the lane.
 */
inline Slice_findHeld() {
    do
    :: position < snapshotEnd &&
       (dictionary[position].client == NONE || dictionary[position].place != Inserted) ->
       position++
    :: else -> break
    od
}

/* The snapshot ends at `snapshotEnd`. */
inline Slice_SnapshotOfHeldDictionaries(s) {
    Slice_Collect(s, false);
    Slice_snapshot(s)
}

inline Slice_snapshot(s) {
    atomic {
        CHECK_SLICE(s);
        CHECK_RANK(SLICE_RANK);
        position = s * PER_SLICE;
        snapshotEnd = position + slice[s].dictionaries;
        Slice_findHeld()
    }
}

/* Part of a step: the lane of the dictionary at `position`, and the client that holds it then. */
inline Slice_lockNext() {
#ifdef DEFECT_LANE_OF_FREED_CLIENT
    CHECK_CLIENT(self);
    held = client[self].lane;
    ACQUIRE(lane[held], LANE_RANK);
#elif !defined DEFECT_MOVED_WITHOUT_LANE
    IS_FREE(lane[dictionary[position].lane]);
    held = dictionary[position].lane;
    ACQUIRE(lane[held], LANE_RANK);
#endif
    self = dictionary[position].client
}

/* One dictionary after the other, so that nobody waits for more than one move. */
inline Slice_ReleaseDicts(s) {
    Slice_SnapshotOfHeldDictionaries(s);
    do
    :: position < snapshotEnd ->
#ifdef DEFECT_LANE_OF_FREED_CLIENT
       atomic {
           if
           :: dictionary[position].client != NONE -> self = dictionary[position].client
           :: else -> position++; Slice_findHeld(); goto nextMove
           fi
       };
#endif
       atomic {
           Slice_lockNext();
           if
           :: self != NONE -> Client_leave()
           :: else
           fi
       };
       if
       :: self != NONE -> Main_NewDictionary()
       :: else
       fi;
       atomic {
#ifndef DEFECT_MOVED_WITHOUT_LANE
           UNLOCK_LANE;
#endif
           self = 0;
           position++;
           Slice_findHeld()
       };
#ifdef DEFECT_LANE_OF_FREED_CLIENT
nextMove:
       skip
#endif
    :: atomic { position >= snapshotEnd -> position = 0; snapshotEnd = 0; break }
    od
}

/* Part of a step: whoever holds the dictionary forgets it. */
inline Dictionary_forgetClient(d) {
    if
    :: dictionary[d].client != NONE ->
       CHECK_CLIENT(dictionary[d].client);
       client[dictionary[d].client].dictionary = NONE;
       dictionary[d].client = NONE
    :: else
    fi
}

/* Part of a step. Nobody is found where clients were moved off before, as they mostly are. */
inline Slice_detachNext() {
    CHECK_RANK(LANE_RANK);
    IS_FREE(lane[dictionary[position].lane]);
    Dictionary_forgetClient(position);
    position++;
    Slice_findHeld()
}

inline Slice_DetachClients(s) {
#ifdef DEFECT_DETACHED_WITHOUT_COLLECTING
    Slice_snapshot(s);
#else
    Slice_SnapshotOfHeldDictionaries(s);
#endif
    do
#ifdef DEFECT_DETACHED_WITHOUT_LANE
    :: atomic { position < snapshotEnd -> self = dictionary[position].client };
       atomic {
           if
           :: self != NONE ->
              CHECK_CLIENT(self);
              client[self].dictionary = NONE;
              dictionary[position].client = NONE
           :: else
           fi;
           self = 0;
           position++;
           Slice_findHeld()
       }
#else
    :: atomic { position < snapshotEnd -> Slice_detachNext() }
#endif
    :: atomic { position >= snapshotEnd -> position = 0; snapshotEnd = 0; break }
    od
}

/* Part of a step. Nothing of a destroyed slice is left that could tell two states apart. */
inline Slice_destroy(s) {
    CHECK(packed_and_freed_once, slice[s].alive);
#ifdef DISTRIBUTIONS
    Table_destroy(s, 0);
#if LANES > 1
    Table_destroy(s, 1);
#endif
    Table_destroy(s, PACK_THREADS_ROW);
    collected = slice[s].joined;
    slice[s].joined = 0;
#endif
    position = s * PER_SLICE;
    do
    :: position < s * PER_SLICE + slice[s].dictionaries ->
#ifdef DEFECT_SHELVES_LEFT_BEHIND
       if
       :: dictionary[position].place == Shelved -> position++; goto nextToDestroy
       :: else
       fi;
#endif
       CHECK(no_use_after_free, dictionary[position].client == NONE);
       dictionary[position].place = 0;
       dictionary[position].client = 0;
       dictionary[position].clientId = 0;
       dictionary[position].lane = 0;
       dictionary[position].locked = 0;
       dictionary[position].cachedCount = 0;
       dictionary[position].cache[0] = 0;
       dictionary[position].cache[CACHE_SIZE - 1] = 0;
#ifdef DISTRIBUTIONS
       CHECK(distributions_exact, !(dictionary[position].aggregated & ~collected));
       collected = collected & ~dictionary[position].aggregated;
#endif
       dictionary[position].aggregated = 0;
       position++;
#ifdef DEFECT_SHELVES_LEFT_BEHIND
nextToDestroy:
       skip
#endif
    :: else -> break
    od;
    position = 0;
#ifdef DISTRIBUTIONS
    CHECK(distributions_exact, !collected);
#endif
    slice[s].alive = 0;
    slice[s].open = 0;
    slice[s].isCollected = 0;
    slice[s].dictionaries = 0;
    slice[s].held[0] = 0;
    slice[s].held[LANES - 1] = 0
}

/* ---------------------------------------------------------------------------------- generator */

/* Part of a step: from here on clients file there. */
inline Main_beginFiling(s) {
    slice[s].isCollected = 0;
    currentSlice = s
}

/*
 * With the timeline lock, for which whoever takes an ended slice off the queue waits. Clients see
 * the newest slice only, and see it when they see its end.
 */
inline Main_AdvanceTimeline() {
    do
    :: d_step {
           instant >= END_OF(chosen) ->
           Slice_construct(chosen + 1);
           packQueue ! chosen;
           chosen++
       }
    :: atomic {
           instant < END_OF(chosen) ->
           if
           :: chosen != currentSlice -> Main_beginFiling(chosen)
           :: else
           fi;
           instant = 0;
           break
       }
    od;
    atomic {
        currentEndTime = END_OF(chosen);
        RELEASE(timelineLock, TIMELINE_RANK);
        chosen = 0
    }
}

/*
 * With the lane of `self`. `previous` is left for a dictionary of the current slice. The slice that
 * was left must still be there one step later: its client may be reading it. The current one may
 * end as soon as it was read, and whoever takes it up finds the dictionary behind the lane.
 */
inline Main_NewDictionary() {
    atomic {
        CHECK(no_use_after_free, previous == NONE || slice[SLICE_OF(previous)].alive);
        previous = 0;
        RyPSysTime();
        sliceMayBeOver = (now >= currentEndTime)
    };
    if
    :: atomic {
           sliceMayBeOver && IS_FREE(timelineLock) ->
           ACQUIRE(timelineLock, TIMELINE_RANK);
           sliceMayBeOver = 0;
           RyPSysTime();
           instant = now;
           chosen = currentSlice
       };
       Main_AdvanceTimeline();
       chosen = currentSlice
    :: atomic { !sliceMayBeOver -> chosen = currentSlice }
    fi;
#ifdef DEFECT_CURRENT_READ_WITHOUT_LANE
    atomic { RELEASE(lane[held], LANE_RANK) };
    atomic { ACQUIRE(lane[held], LANE_RANK) };
#endif
    atomic {
        Slice_Shelve(chosen, ID_OF(self));
        chosen = 0;
        Client_take(fresh);
        fresh = 0
    }
}

/*
 * Who left the slice after its lanes were passed for the snapshot may still read it, until they are
 * passed again. Nobody can tell when between the two it left the timeline: it was taken before.
 */
inline Main_RemoveSlice(s) {
#ifdef DEFECT_TIMELINE_LOCKED_BEFORE_LANE
    atomic { ACQUIRE(timelineLock, TIMELINE_RANK) };
#endif
    Slice_DetachClients(s);
    atomic {
#ifndef DEFECT_FREED_SLICE_STAYS_IN_TIMELINE
        IS_FREE(timelineLock);
        CHECK_RANK(TIMELINE_RANK);
        slice[s].inTimeline = 0;
#endif
#ifndef DEFECT_FREED_WITHOUT_PASSAGE
        passLanes();
#endif
        d_step { Slice_destroy(s) }
    }
}

/* ------------------------------------------------------------------------------------ clients */

/*
 * A client's lane is locked in two steps. Where one thread uses the client, nobody else changes
 * its lane, so that they are one.
 */
inline Client_lookAtLane() {
#if THREADS > 1
    atomic { CHECK_CLIENT(self); held = client[self].lane }
#else
    skip
#endif
}

/* Part of a step: the lane that was looked at, or the one that the client has meanwhile. */
inline Client_lock() {
    CHECK_CLIENT(self);
#if THREADS > 1
    ACQUIRE(lane[held], LANE_RANK);
#ifndef DEFECT_NO_SECOND_LOOK
    do
    :: client[self].lane != held ->
       RELEASE(lane[held], LANE_RANK);
       held = client[self].lane;
       ACQUIRE(lane[held], LANE_RANK)
    :: else -> break
    od
#endif
#else
    IS_FREE(lane[client[self].lane]);
    held = client[self].lane;
    ACQUIRE(lane[held], LANE_RANK)
#endif
}

/* Part of a step. */
inline Client_leave() {
    CHECK_CLIENT(self);
    previous = client[self].dictionary;
    client[self].dictionary = NONE;
    if
    :: previous != NONE ->
       CHECK_DICTIONARY(previous);
       dictionary[previous].client = NONE;
       Slice_NoteLeft(previous)
    :: else
    fi
}

/* Part of a step. */
inline Client_take(d) {
    CHECK_CLIENT(self);
    client[self].dictionary = d;
    dictionary[d].client = self;
#ifdef CLIENTS_ARE_ALIKE
    clientsCome = (self != DUMMY_HANDLE && ID_OF(self) == clientsCome -> clientsCome + 1
                                                                      : clientsCome)
#endif
}

inline Client_GetNewDictionary() {
    Client_lookAtLane();
    atomic { Client_lock(); Client_leave() };
    Main_NewDictionary();
    atomic { UNLOCK_LANE }
}

/* Part of a step. The clock is read before the lane is locked, and may have moved on since. */
inline Client_NeedsNewDictionary() {
    if
    :: into == NONE -> needsNew = 1
    :: else ->
       CHECK_DICTIONARY(into);
       RyPSysTime();
       if
       :: dictionary[into].client == NONE || now > END_OF(SLICE_OF(into)) -> needsNew = 1
       :: dictionary[into].client != NONE
       fi
    fi
}

inline Client_lockToReport() {
    Client_lookAtLane();
    atomic {
        Client_lock();
        into = client[self].dictionary;
        Client_NeedsNewDictionary();
        into = 0
    }
}

/*
 * The client comes to the lane of the thread that reports. What the next dictionary takes over
 * from the one that was left is read before the old lane is unlocked.
 */
inline Client_adopt() {
#if defined DEFECT_LANE_PUBLISHED_TOO_EARLY
    atomic { client[self].lane = LANE_OF(thread); needsNew = 0 };
    atomic { Client_leave() };
    atomic {
        CHECK(no_use_after_free, previous == NONE || slice[SLICE_OF(previous)].alive);
        previous = 0;
        UNLOCK_LANE
    };
#elif defined DEFECT_TWO_LANES_AT_ONCE
    atomic { Client_leave(); needsNew = 0 };
    atomic {
        previous = 0;
        ACQUIRE(lane[LANE_OF(thread)], LANE_RANK);
        client[self].lane = LANE_OF(thread);
        RELEASE(lane[LANE_OF(thread)], LANE_RANK);
        UNLOCK_LANE
    };
#else
    atomic { Client_leave(); needsNew = 0 };
    atomic {
        CHECK(no_use_after_free, previous == NONE || slice[SLICE_OF(previous)].alive);
        previous = 0;
        client[self].lane = LANE_OF(thread);
        UNLOCK_LANE
    };
#endif
    Client_lockToReport()
}

/*
 * For a refused value. Nothing is held in the pause, so the client may be anywhere after it. There
 * is one only before the end of the slice, and it takes time.
 */
inline Client_pause() {
    atomic {
        isRefused && !stopping ->
        CHECK_DICTIONARY(into); /* asked for the end of its slice */
        now = (now < END_OF(SLICE_OF(into)) -> now + 1 : now);
        isRefused = 0;
#ifndef DEFECT_END_READ_AFTER_UNLOCKING
        into = 0;
#endif
        UNLOCK_LANE
    };
#ifdef DEFECT_END_READ_AFTER_UNLOCKING
    atomic { CHECK_DICTIONARY(into); into = 0 };
#endif
    Client_lookAtLane();
    atomic { Client_lock(); needsNew = 1 }
}

/* Part of a step: the test of the slice's flag, and what the cache has if that is set. */
inline Client_lookAtDictionary() {
    into = client[self].dictionary;
    CHECK_DICTIONARY(into);
    isOpen = slice[SLICE_OF(into)].open;
    isRefused = !isOpen;
    cached = (isOpen -> dictionary[into].cachedCount : 0)
}

#ifdef COUNTS_LATE
/* Behind the flush, where it should count within. */
inline Client_countLate() {
    atomic {
        Dictionary_endFlush(into);
#ifdef DEFECT_COUNTED_OUTSIDE_LANE
        UNLOCK_LANE
#endif
    };
    atomic {
        if
        :: flushed != 0 -> Table_beginCounting(SLICE_OF(into), dictionary[into].lane)
        :: else
        fi
    };
#ifdef DEFECT_COUNTED_OUTSIDE_LANE
    atomic { Table_endCounting(); Client_lock() }
#endif
}
#endif

inline Client_AddLast(value) {
    Client_lockToReport();
    if
    :: needsNew && held != LANE_OF(thread) -> Client_adopt()
    :: else
    fi;
    do
    :: atomic { needsNew -> needsNew = 0; Client_leave() };
       Main_NewDictionary()
    :: atomic {
           !needsNew && !isRefused ->
           Client_lookAtDictionary();
           if
           :: isOpen -> break
           :: else
           fi
       }
#ifdef DEFECT_REFUSED_VALUE_STAYS
    :: atomic { isRefused -> isRefused = 0; into = 0 }
#else
    :: atomic { isRefused && stopping -> isRefused = 0; dropped = dropped | SET_OF(value); break }
    :: Client_pause()
#endif
    od;
    /* The test for a full cache may share the step: a flush tests again what there is to do. */
    atomic {
        if
        :: isOpen ->
           Dictionary_CacheValue(into, value);
           if
           :: dictionary[into].cachedCount >= CACHE_SIZE && !LEAVES_FLUSH_TO_PACK_THREAD(into) ->
              Dictionary_beginFlush(into, dictionary[into].lane)
           :: else
           fi
        :: else
        fi
    };
#ifdef COUNTS_LATE
    Client_countLate();
#endif
    atomic {
        Dictionary_endFlush(into);
        isOpen = 0;
        into = 0;
        UNLOCK_LANE
    }
}

inline Client_FlushStatsCache() {
#ifndef DEFECT_FLUSHED_WITHOUT_LANE
    Client_lookAtLane();
#endif
    atomic {
#ifndef DEFECT_FLUSHED_WITHOUT_LANE
        Client_lock();
#endif
        into = client[self].dictionary;
        if
        :: into != NONE && !LEAVES_FLUSH_TO_PACK_THREAD(into) ->
           Dictionary_beginFlush(into, dictionary[into].lane)
        :: else
        fi
    };
#ifdef COUNTS_LATE
    Client_countLate();
#endif
    atomic {
        Dictionary_endFlush(into);
        into = 0;
#ifndef DEFECT_FLUSHED_WITHOUT_LANE
        UNLOCK_LANE
#endif
    }
}

/* Part of a step. */
inline Client_construct(handle, laneOfMaker) {
    client[handle].alive = 1;
    client[handle].lane = laneOfMaker;
    client[handle].dictionary = NONE
}

inline Client_destroy() {
    Client_lookAtLane();
    atomic {
        Client_lock();
#ifndef DEFECT_DESTROYED_CLIENT_STAYS_KNOWN
        if
        :: client[self].dictionary != NONE ->
           CHECK_DICTIONARY(client[self].dictionary);
           dictionary[client[self].dictionary].client = NONE
        :: else
        fi;
#endif
        UNLOCK_LANE;
        client[self].alive = 0;
        client[self].lane = 0;
        client[self].dictionary = 0
    }
}

/* ------------------------------------------------------------------------------------ threads */

/* What every thread that moves clients keeps on its stack. */
#define STACK_OF_A_MOVER \
    byte self; \
    unsigned ranks : 4; \
    bit held; \
    byte previous; \
    byte fresh; \
    byte chosen; \
    unsigned instant : 4; \
    bit sliceMayBeOver

/* What a flush has on the stack where distributions are collected. */
#define STACK_OF_A_FLUSH \
    unsigned flushed : 4; /* the values that no table counts yet */ \
    byte counting /* the table that it is in */

/*
 * Handles under one id, one after another, or one handle that threads share. All that a client may
 * do is done, in every order: one that stops early is one that is slow. Where the clients are
 * alike, whichever takes a dictionary first is called the first.
 */
proctype ClientThread(byte thread) {
    STACK_OF_A_MOVER;
    unsigned reported : 2;
#if MOVES
    unsigned moves : 2;
#endif
#if FLUSHES
    unsigned flushes : 2;
#endif
    bit needsNew;
    bit isOpen;
    bit isRefused;
    bit isFlushing;
#ifdef DISTRIBUTIONS
    STACK_OF_A_FLUSH;
#endif
    byte into;
    unsigned cached : 2;

    atomic {
#ifdef CLIENTS_ARE_ALIKE
        CLIENT_OF(thread) <= clientsCome;
#endif
        self = CLIENT_OF(thread) * LIVES;
#if THREADS == 1
        Client_construct(self, FIRST_LANE_OF(thread))
#endif
    };
    do
    :: atomic { reported < VALUES -> reported++ };
       Client_AddLast(thread * VALUES + reported - 1)
#if MOVES
    :: moves < MOVES ->
       moves++;
       Client_GetNewDictionary()
#endif
#if FLUSHES
    :: flushes < FLUSHES ->
       flushes++;
       Client_FlushStatsCache()
#endif
#if LIVES > 1
    :: self < CLIENT_OF(thread) * LIVES + LIVES - 1 ->
       Client_destroy();
       atomic { self++; Client_construct(self, FIRST_LANE_OF(thread)) }
#endif
    :: else -> break
    od;
#if THREADS > 1
    atomic {
        users--;
        if
        :: users == 0
        :: users > 0 -> goto left /* the last one destroys it */
        fi
    };
#endif
    Client_destroy();
    clientsGone++;
left:
    skip
}

/* How far the slice in hand is. */
#define InHand 0
#define Folded 1
#define Merged 2
#define DictionariesSent 3
#define TextSent 4

/* Memory runs out, or a hook throws. Nothing that others see was done in the step before. */
#if THROWS
#define MAY_THROW \
    if \
    :: thrown < THROWS -> thrown++; goto interrupted \
    :: true \
    fi
#else
#define MAY_THROW skip
#endif

#if THROWS
#define MAY_FAIL_TO_CLOSE (thrown < THROWS)
#else
#define MAY_FAIL_TO_CLOSE false
#endif

#ifdef SHORT_OF_MEMORY
#define MAY_FAIL_TO_TAKE true
#else
#define MAY_FAIL_TO_TAKE false
#endif

/* Part of a step. */
inline Main_WaitForSlice() {
    if
#ifndef DEFECT_INTERRUPTED_SLICE_FORGOTTEN
    :: sliceToSend != NONE -> inHand = sliceToSend; status = ItemArrived
#endif
    :: else -> Queue_waitEvent(packQueue, packReleased)
    fi
}

/* Part of a step. */
inline Main_TakeInHand(s) {
    if
    :: sliceToSend != s -> sliceToSend = s; stage = InHand
    :: else
    fi
}

/*
 * A slice that came off the queue when the end had come already is not sent. What is not collected
 * here is when the slice is closed.
 */
inline Main_TakeToSend(s) {
    atomic {
#ifndef DEFECT_TAKEN_WITHOUT_TIMELINE_LOCK
        timelineLock == 0;
#endif
        CHECK_RANK(TIMELINE_RANK);
        if
        :: terminated -> s = 0; break
        :: else -> Main_TakeInHand(s)
        fi;
#if defined WARNS && !defined DEFECT_TAKEN_WITHOUT_TIMELINE_LOCK
        slice[s].isUnsent = 0
#endif
    };
#ifdef DEFECT_TAKEN_WITHOUT_TIMELINE_LOCK
    slice[s].isUnsent = 0;
#endif
    Slice_Collect(s, MAY_FAIL_TO_TAKE);
#ifdef SHORT_OF_MEMORY
    outOfMemory = 0
#endif
}

#ifdef DISTRIBUTIONS
/* After an exception it goes on with the tables that the slice still has. */
inline Slice_JoinDistributions(s) {
    atomic { CHECK_SLICE(s); MAY_THROW; Slice_joinTable(s, 0) };
#if LANES > 1
    atomic { MAY_THROW; Slice_joinTable(s, 1) };
#endif
    atomic { MAY_THROW; Slice_joinTable(s, PACK_THREADS_ROW) }
}
#endif

/* Who tests the flag later finds it cleared; who has tested it before is done by then. */
inline Main_CloseSlice(s) {
#ifdef DEFECT_FLAG_CLEARED_AFTER_PASSAGE
    atomic { passLanes() };
    atomic { CHECK_SLICE(s); slice[s].open = 0 };
#else
    atomic {
        CHECK_SLICE(s);
        slice[s].open = 0;
#if !defined DEFECT_CLOSED_WITHOUT_PASSAGE && !defined DEFECT_JOINED_BEFORE_PASSAGE
        passLanes()
#endif
    };
#endif
#ifdef DEFECT_JOINED_BEFORE_PASSAGE
    Slice_JoinDistributions(s);
    atomic { passLanes() };
#endif
#ifndef DEFECT_CLOSED_WITHOUT_COLLECTING
    Slice_Collect(s, MAY_FAIL_TO_CLOSE);
#endif
#if THROWS
    if
    :: atomic { outOfMemory -> outOfMemory = 0; thrown++; goto interrupted }
    :: !outOfMemory
    fi
#else
    skip
#endif
}

/* Part of a step: AddValuesOfDict, from one of the slice's dictionaries into that of its id. */
inline Slice_addDictionaryInHand() {
#ifndef DEFECT_FLUSHED_WITHOUT_DICTIONARY_LOCK
    !dictionary[source].locked;
#endif
    CHECK_DICTIONARY(source);
    CHECK_RANK(DICTIONARY_RANK);
    CHECK(values_exact, !(totalLasts & dictionary[source].aggregated));
    CHECK(values_exact,
          !(dictionary[source].aggregated & ~VALUES_OF(dictionary[source].clientId)));
    hasChanged = hasChanged || dictionary[source].aggregated;
    totalLasts = totalLasts | dictionary[source].aggregated;
    source = 0;
    folded++
}

#ifdef DEFECT_FOLDED_INTO_LANES_TABLE
#define ROW_OF_FOLD dictionary[source].lane
#else
#define ROW_OF_FOLD PACK_THREADS_ROW
#endif

#ifdef FOLDED_UNDER_LANE
#define LOCK_LANE_OF_SOURCE \
    held = dictionary[source].lane; \
    ACQUIRE(lane[held], LANE_RANK)
#define UNLOCK_LANE_OF_SOURCE UNLOCK_LANE
#else
#define LOCK_LANE_OF_SOURCE skip
#define UNLOCK_LANE_OF_SOURCE skip
#endif

/* On the total slice. `folded` dictionaries are added; an interrupted fold goes on behind them. */
inline Slice_AddDictionarysSlice(finished) {
    do
    :: atomic {
           folded < slice[finished].dictionaries && !isFlushing ->
           CHECK_SLICE(finished);
           MAY_THROW;
           source = finished * PER_SLICE + folded;
           if
           :: dictionary[source].place == Inserted && dictionary[source].cachedCount > 0 ->
              LOCK_LANE_OF_SOURCE;
              Dictionary_beginFlush(source, ROW_OF_FOLD);
              if
              :: !isFlushing -> UNLOCK_LANE_OF_SOURCE /* its client was faster */
              :: else
              fi
           :: else
           fi;
           if
           :: dictionary[source].place != Inserted -> source = 0; folded++ /* not in the map */
           :: dictionary[source].place == Inserted && !isFlushing -> Slice_addDictionaryInHand()
           :: else
           fi
       }
    :: atomic {
           isFlushing ->
           Dictionary_endFlush(source);
           UNLOCK_LANE_OF_SOURCE;
           Slice_addDictionaryInHand()
       }
    :: atomic {
           folded >= slice[finished].dictionaries ->
           CHECK_SLICE(finished);
           folded = 0;
           stage = Folded;
           break
       }
    od
}

/* Part of a step. Emptied lasts are merged once more, or the next message tells them again. */
inline Main_ResetLasts() {
#ifndef DEFECT_EMPTIED_LASTS_NOT_NOTED
    hasChanged = hasChanged || totalLasts;
#endif
#ifndef DEFECT_LASTS_NOT_RESET
    totalLasts = 0;
#endif
    lastsMayBeSet = 0
}

/* Part of a step. What was merged serves again while nothing has changed (IsMergeCurrent). */
inline Main_MergeTotals() {
    if
    :: hasChanged -> mergedLasts = totalLasts; hasChanged = 0; lastsMayBeSet = 1
    :: else
    fi
}

/* Part of a step. What the message tells of the slice is exactly what the slice accepted. */
inline Main_SendText(s) {
    CHECK_SLICE(s);
    if
    :: lastsMayBeSet || hasChanged -> Main_ResetLasts()
    :: else
    fi;
    MAY_THROW; /* in SendDictionaryString, which has told nobody by then */
    CHECK(packed_and_freed_once, s == sent);
    CHECK(values_exact, !(inMessages & mergedLasts));
    CHECK(values_exact, mergedLasts == slice[s].accepted);
#ifdef DISTRIBUTIONS
    CHECK(distributions_exact, mergedLasts == slice[s].joined);
#endif
    inMessages = inMessages | mergedLasts;
    sent++
}

inline Main_SendSlice(s) {
    if
    :: stage < Folded ->
       Main_CloseSlice(s);
#ifdef DEFECT_JOINED_BEFORE_FOLD
       Slice_JoinDistributions(s);
#endif
       Slice_AddDictionarysSlice(s)
    :: stage >= Folded
    fi;
#if defined DISTRIBUTIONS && !defined DEFECT_JOINED_BEFORE_FOLD
    if
    :: stage < Merged -> Slice_JoinDistributions(s)
    :: stage >= Merged
    fi;
#endif
    atomic {
        if
        :: stage < Merged -> MAY_THROW; Main_MergeTotals(); stage = Merged
        :: else
        fi;
        if
        :: stage < DictionariesSent -> MAY_THROW; stage = DictionariesSent
        :: else
        fi;
        if
        :: stage < TextSent -> Main_SendText(s); stage = TextSent
        :: else
        fi;
        MAY_THROW;
#ifndef SENT_EARLY
        garbageQueue ! s;
#endif
        sliceToSend = NONE;
        stage = InHand
    }
}

/* The pack thread. The host runs the loop again after an exception. */
proctype doPackWork() {
    unsigned ranks : 4;
    bit held;
    byte inHand;
    unsigned status : 2;
    byte sliceToSend = NONE;
    unsigned stage : 3;
    unsigned folded : 4;
    byte source;
    unsigned totalLasts : 4;
    unsigned mergedLasts : 4;
    bit hasChanged = 1;
    bit lastsMayBeSet;
    bit isFlushing;
#ifdef DISTRIBUTIONS
    STACK_OF_A_FLUSH;
#endif
    bit isOver;
    bit outOfMemory;
#if THROWS
    bit thrown;
runAgain:
#endif
    packDone = 0;
#ifdef SENT_EARLY
    Main_SendSlice(inHand); /* the first */
#endif
nextPass:
    do
    :: terminated -> break
    :: !terminated ->
       atomic {
           Main_WaitForSlice();
           if
           :: status == ItemArrived
           :: status == Released -> status = 0; break
           :: status == TimedOut -> status = 0; goto nextPass
           fi
       };
       Main_TakeToSend(inHand);
#ifdef SENT_EARLY
       atomic { garbageQueue ! inHand; sliceToSend = NONE }
#else
       Main_SendSlice(inHand)
#endif
    od;
    atomic { packDone = 1; packJoined = 1 };
#if THROWS
    goto left;
interrupted:
    packDone = 1;
    goto runAgain;
left:
#endif
    skip
}

inline Main_FreeSliceInHand(s) {
    atomic {
        CHECK_SLICE(s);
        CHECK_RANK(SLICE_RANK);
        isHeld = (GET_COUNT_Z0(s) > 0)
    };
#ifndef REMOVED_AT_ONCE
    if
    :: isHeld ->
       isHeld = 0;
       Slice_ReleaseDicts(s)
    :: !isHeld
    fi;
#else
    isHeld = 0;
#endif
    Main_RemoveSlice(s)
}

/*
 * Without the grace beyond the end: the dummy client may step in at any moment of silence. The
 * three reads may share the step: what changes between them might as well change after the last
 * one. A pause takes time, so that every slice ends in the end.
 */
inline Main_KeepTime() {
    atomic {
        RyPSysTime();
        if
        :: now > currentEndTime && !stopping -> self = DUMMY_HANDLE
        :: else -> now = (now < LAST_TICK -> now + 1 : now); goto nextPass
        fi
    };
    Client_GetNewDictionary();
    self = 0
}

/* The garbage thread. */
proctype doGarbageWork() {
    STACK_OF_A_MOVER;
    byte inHand;
    unsigned status : 2;
    bit isHeld;
    bit isOver;
    bit outOfMemory;
    byte position;
    byte snapshotEnd;

    atomic {
        garbageDone = 0;
        Client_construct(DUMMY_HANDLE, GARBAGE_LANE)
    };
nextPass:
    do /* `terminated` stays as it is once it is set, so that it may share the step */
    :: terminated && empty(garbageQueue) -> break
    :: !terminated || nempty(garbageQueue) ->
       atomic {
           Queue_waitEvent(garbageQueue, garbageReleased);
           if
           :: status == ItemArrived
           :: status == Released -> status = 0; break
           :: status == TimedOut -> status = 0; goto keepTime
           fi
       };
       Main_FreeSliceInHand(inHand);
       inHand = 0;
       goto nextPass;
keepTime:
       Main_KeepTime()
    od;
    self = DUMMY_HANDLE;
    Client_destroy();
#ifndef DEFECT_LOOP_END_NOT_SIGNALLED
    garbageDone = 1;
#endif
    garbageJoined = 1
}

/* Part of a step. */
inline Main_Start() {
    Slice_construct(0);
    Main_beginFiling(0)
}

inline Main_Terminate() {
    stopping = 1;
    packReleased = 1;
    terminated = 1;
#ifndef DEFECT_GARBAGE_QUEUE_NOT_RELEASED
    garbageReleased = 1
#endif
}

#ifdef WARNS
#define IS_UNSENT(s) (slice[s].inTimeline && slice[s].isUnsent)

/* With the lane, then the timeline lock: in all slices, also those on their way. */
inline Main_takeOffShelves(laneOfShelf) {
    atomic {
        CHECK_RANK(LANE_RANK);
        lane[laneOfShelf] == 0 && timelineLock == 0;
        do
        :: sliceAt < SLICES ->
           if
           :: slice[sliceAt].inTimeline -> Slice_TakeOffShelf(sliceAt, laneOfShelf, false)
           :: else
           fi;
           sliceAt++
        :: else -> break
        od;
        sliceAt = 0
    }
}

/* Part of a step: what was taken off the shelves. The maps of unsent slices are empty here. */
inline Slice_CountValues(s) {
    position = s * PER_SLICE;
    do
    :: position < s * PER_SLICE + slice[s].dictionaries ->
       countedValues =
           (dictionary[position].place == Shelved
                -> countedValues
                : countedValues | dictionary[position].aggregated |
                      (dictionary[position].cachedCount > 0 ->
                           SET_OF(dictionary[position].cache[0]) : 0) |
                      (dictionary[position].cachedCount > 1 ->
                           SET_OF(dictionary[position].cache[1]) : 0));
       position++
    :: else -> break
    od;
    position = 0
}

inline Main_LogUnsent() {
    atomic {
        do
        :: sliceAt < SLICES ->
           acceptedAtCount = acceptedAtCount | slice[sliceAt].accepted;
           sliceAt++
        :: else -> break
        od;
        sliceAt = 0
    };
#ifndef DEFECT_SHELVES_UNCOUNTED
    Main_takeOffShelves(0);
#if LANES > 1
    Main_takeOffShelves(1);
#endif
#endif
    atomic {
        timelineLock == 0;
        do
        :: sliceAt < SLICES ->
           if
           :: IS_UNSENT(sliceAt) ->
              counted = counted | (1 << sliceAt);
              Slice_CountValues(sliceAt)
           :: else
           fi;
           sliceAt++
        :: else -> break
        od;
        begunAtCount = currentSlice;
        sliceAt = 0
    }
}
#endif

/* And joins the threads. */
inline Main_WaitForTerminateToEnd() {
    packDone && garbageDone && packJoined && garbageJoined && clientsGone == CLIENTS
}

/* Part of a step, the destructor: what still stands in the timeline is deleted. */
inline Main_destroy() {
    do
    :: sliceAt < SLICES ->
       if
       :: slice[sliceAt].inTimeline ->
          slice[sliceAt].inTimeline = 0;
          Slice_destroy(sliceAt)
       :: else
       fi;
       sliceAt++
    :: else -> break
    od;
    sliceAt = 0
}

/* Part of a step: what must have come true by the end, whatever happened on the way. */
inline checkTheEnd() {
    do
    :: sliceAt < SLICES ->
       CHECK(packed_and_freed_once, !slice[sliceAt].alive);
       entry = sliceAt * PER_SLICE;
       do
       :: entry < (sliceAt + 1) * PER_SLICE ->
          CHECK(packed_and_freed_once, dictionary[entry].place == 0);
          entry++
       :: else -> break
       od;
       CHECK(values_exact, !(accepted & slice[sliceAt].accepted));
       accepted = accepted | slice[sliceAt].accepted;
       if
       :: sliceAt < sent -> told = told | slice[sliceAt].accepted
       :: else
       fi;
#ifdef WARNS
       CHECK(sent_or_counted,
             sliceAt > begunAtCount || (sliceAt < sent) != ((counted >> sliceAt) & 1));
       CHECK(sent_or_counted,
             !((counted >> sliceAt) & 1) ||
                 !(slice[sliceAt].accepted & acceptedAtCount & ~countedValues));
       CHECK(sent_or_counted, sliceAt >= sent || !(slice[sliceAt].accepted & countedValues));
#endif
       sliceAt++
    :: else -> break
    od;
    CHECK(values_exact, told == inMessages);
    CHECK(values_exact, !(accepted & dropped));
    CHECK(values_exact, (accepted | dropped) == ALL_VALUES)
}

/* The control thread of the host, which may terminate the generator at any moment. */
init {
    unsigned ranks : 4;
    bit outOfMemory;
    byte position;
    byte sliceAt;
    byte accepted;
    byte told;

    atomic {
        Main_Start();
        run doPackWork();
        run doGarbageWork();
        do
        :: sliceAt < CLIENTS * THREADS -> run ClientThread(sliceAt); sliceAt++
        :: else -> break
        od;
#if THREADS > 1
        Client_construct(0, FIRST_LANE_OF(0));
#endif
        sliceAt = 0
    };
#ifdef ORDERLY_END
    /* Every slice that ends is sent, whether or not a client keeps the time. */
    clientsGone == CLIENTS && sent == SLICES - 1;
#endif
    Main_Terminate();
#ifdef WARNS
    Main_LogUnsent();
#endif
    Main_WaitForTerminateToEnd();
    d_step {
        Main_destroy();
        checkTheEnd();
        ended = 1
    }
}

#ifdef LIVENESS
ltl the_end_comes { <> ended }
#endif
