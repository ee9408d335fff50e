/* SPDX-License-Identifier: Apache-2.0 */
/* The exclusive lock as a model for spin: N contenders over one store. Numbers in brackets are those of README.md.
 *
 * One step is one storage call together with the decision that follows from it; between two steps anything may happen.
 * A contender tries for ever, holds the lock, releases it and begins again; before every call it may stop for good.
 * Renewal is modelled by its effect: the record of a holder that lives does not run out.
 *
 *   -DN=3         contenders (2)
 *   -DVERSIONED   a store with versions: a deletion takes exactly what the contender wrote, and uncovers what lies below
 *   -DGENERATIONS the same, but a deletion uncovers nothing: with the newest version an object is gone
 *   -DCALLS=2     during a pause every other contender that is at work completes that many calls (0: pauses mean nothing)
 *   -DLAPSE       records may run out under a contender that lives: a stall longer than the validity, or clocks apart
 *   -DNOSTOP      nobody stops for good
 *   -DLIVELY      watches that contender 0 gets in once the others have stopped
 */
#ifndef N
#define N 2
#endif
#ifndef CALLS
#define CALLS 0
#endif
#ifdef GENERATIONS
#define VERSIONED
#define DEPTH 1 /* what a newer version has covered never counts again */
#elif defined(VERSIONED)
#define DEPTH N
#else
#define DEPTH 1
#endif

#define DECLARE 0
#define TRY     1
#define LOCK    2
#define ALL     (3 * DEPTH)

typedef Record {
    byte by;     /* the writer, counted from 1; 0: no record */
    bool old;    /* the attempt that wrote it has ended, or its writer has */
    byte others; /* the contenders whose attempts overlapped that one and still go on */
    bool dead    /* it has run out */
};

Record rec[ALL];  /* object o: the versions o * DEPTH ..., the newest last */
byte count[3];    /* versions of each object */
bool tries[N];    /* is in an attempt */
bool busy[N];     /* has a call under way */
bool gone[N];
byte owed[N * N]; /* owed[i * N + j]: calls of j before the pause of i may end */
byte holders;
#ifdef LIVELY
bool inside;      /* contender 0 holds the lock */
#endif

#define TOP(o)   rec[(o) * DEPTH + count[o] - 1]
#define found(o) (count[o] > 0)
#define other(o) (found(o) && !TOP(o).dead && TOP(o).by != _pid + 1)

inline Stepped() { /* this contender has completed a call */
#if CALLS
    i = 0;
    do
    :: i < N -> owed[i * N + _pid] = (owed[i * N + _pid] > 0 -> owed[i * N + _pid] - 1 : 0); i++
    :: else -> break
    od;
    i = 0
#else
    skip
#endif
}

inline Pause() {
    busy[_pid] = false;
#if CALLS
    i = 0;
    do
    :: i < N ->
        owed[i * N + _pid] = 0; /* pauses of others do not wait for this one */
        owed[_pid * N + i] = (busy[i] -> CALLS : 0);
        i++
    :: else -> break
    od;
    i = 0
#endif
}

#if CALLS && N == 2
#define rested (owed[_pid * N] == 0 && owed[_pid * N + 1] == 0)
#elif CALLS && N == 3
#define rested (owed[_pid * N] == 0 && owed[_pid * N + 1] == 0 && owed[_pid * N + 2] == 0)
#elif CALLS && N == 4
#define rested (owed[_pid * N] == 0 && owed[_pid * N + 1] == 0 && owed[_pid * N + 2] == 0 && owed[_pid * N + 3] == 0)
#else
#define rested true
#endif

inline Clear(k) { rec[k].by = 0; rec[k].old = false; rec[k].others = 0; rec[k].dead = false }

inline Put(o) {
#if DEPTH > 1
    assert(count[o] < DEPTH);
    count[o]++;
#else
    count[o] = 1;
#endif
    TOP(o).by = _pid + 1; TOP(o).old = false; TOP(o).others = 0; TOP(o).dead = false
}

inline Delete(o) {
#ifdef GENERATIONS
    if
    :: rec[o].by == _pid + 1 -> count[o] = 0; Clear(o)
    :: else
    fi
#elif defined(VERSIONED)
    i = 0;
    do
    :: rec[(o) * DEPTH + i].by != _pid + 1 -> i++
    :: else -> break
    od;
    do
    :: i + 1 < count[o] ->
        rec[(o) * DEPTH + i].by = rec[(o) * DEPTH + i + 1].by;
        rec[(o) * DEPTH + i].old = rec[(o) * DEPTH + i + 1].old;
        rec[(o) * DEPTH + i].others = rec[(o) * DEPTH + i + 1].others;
        rec[(o) * DEPTH + i].dead = rec[(o) * DEPTH + i + 1].dead;
        i++
    :: else -> break
    od;
    count[o]--;
    Clear((o) * DEPTH + i);
    i = 0
#else
    count[o] = 0; /* whoever wrote it */
    Clear(o)
#endif
}

/* The attempt is over: what it leaves behind may run out once every attempt beside it is over too. */
inline End(keep) {
    tries[_pid] = false;
    busy[_pid] = false;
    beside = 0;
    i = 0;
    do
    :: i < N -> beside = (tries[i] -> beside | (1 << i) : beside); i++
    :: else -> break
    od;
    i = 0;
    do
    :: i < keep ->
        rec[i].others = rec[i].others & ~(1 << _pid);
        if
        :: rec[i].by == _pid + 1 && !rec[i].old -> rec[i].old = true; rec[i].others = beside
        :: else
        fi;
        i++
    :: i >= keep && i < ALL -> rec[i].others = rec[i].others & ~(1 << _pid); i++
    :: else -> break
    od;
    i = 0; beside = 0
}

#ifdef NOSTOP
#define OrStop
#else
#ifdef LIVELY
#define OrStop :: _pid != 0 -> goto stop
#else
#define OrStop :: goto stop
#endif
#endif

#define CALL(work) if :: d_step { work; Stepped() } OrStop fi

active [N] proctype Contender()
{
    byte i, beside;
    bool holding;

begin:
    atomic { rested && !other(LOCK) -> tries[_pid] = true; busy[_pid] = true }; /* [5]; an answer that sends it away changes nothing */
    if /* [6] */
    :: d_step { other(DECLARE) -> End(ALL); Stepped(); Pause() }; goto begin
    :: d_step { !other(DECLARE) -> Stepped() }
    OrStop
    fi;
    CALL(Put(DECLARE); Pause());                          /* [7, 8] */
    if /* [9] */
    :: d_step { rested && !other(TRY) -> busy[_pid] = true; Stepped() }
    :: d_step { rested && other(TRY) -> busy[_pid] = true; Stepped() };
#ifdef VERSIONED
       CALL(Delete(DECLARE));
#endif
       goto away
    OrStop
    fi;
    CALL(Put(TRY));                                       /* [10] */
    if /* [11] */
    :: d_step { found(DECLARE) && !other(DECLARE) -> Stepped() }
    :: d_step { !found(DECLARE) || other(DECLARE) -> Stepped() };
#ifdef VERSIONED
       CALL(Delete(TRY));
       CALL(Delete(DECLARE))
#else
       if
       :: d_step { found(TRY) && !other(TRY) -> Stepped() }; CALL(Delete(TRY))
       :: d_step { !found(TRY) || other(TRY) -> Stepped() }
       OrStop
       fi
#endif
       ; goto away
    OrStop
    fi;
    if /* [12] */
    :: d_step { found(TRY) && !other(TRY) -> Stepped() }
    :: d_step { !found(TRY) || other(TRY) -> Stepped() };
#ifdef VERSIONED
       CALL(Delete(TRY));
#endif
       CALL(Delete(DECLARE));
       goto away
    OrStop
    fi;
    if /* [13] */
    :: d_step { !other(LOCK) -> Stepped() }
    :: d_step { other(LOCK) -> Stepped() };
#ifdef VERSIONED
       CALL(Delete(TRY));
       CALL(Delete(DECLARE));
#endif
       goto away
    OrStop
    fi;
    CALL(Put(LOCK); holding = true; assert(holders == 0); holders++); /* [14] */
    CALL(Delete(DECLARE));
    CALL(Delete(TRY); End(LOCK * DEPTH));
#ifdef LIVELY
    inside = (_pid == 0 -> true : inside);
#endif
    CALL(holding = false; holders--; Delete(LOCK));       /* release */
#ifdef LIVELY
    inside = (_pid == 0 -> false : inside);
#endif
    goto begin;
away:
    atomic { End(ALL); Pause() };                         /* [15] */
    goto begin;
stop:
    atomic {
        gone[_pid] = true;
        holders = holders - holding;
        holding = false;
        End(ALL);
        Pause()
    }
}

active [ALL] proctype RunOut() /* one for each record */
{
end:
    do
#ifdef LAPSE
    :: d_step { rec[_pid - N].by != 0 && !rec[_pid - N].dead -> rec[_pid - N].dead = true }
#else
    :: d_step { rec[_pid - N].old && rec[_pid - N].others == 0 && !rec[_pid - N].dead -> rec[_pid - N].dead = true }
#endif
    od
}

#ifdef LIVELY
#if N == 2
ltl gets_in { [] (gone[1] -> <> inside) }
#else
ltl gets_in { [] (gone[1] && gone[2] -> <> inside) }
#endif
#endif
