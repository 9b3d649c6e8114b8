// SPDX-License-Identifier: Apache-2.0
/*
 * The hand-over of frames between the request threads and the worker thread of ZYPreview
 * (analysis/zy_preview.cpp, analysis/analysis_loop.cpp), reduced to the steps that concern both.
 *
 * Modelled: request threads offer any number of frames (ProcessBuffer); the worker thread waits
 * for a frame, runs a pass and publishes (AnalyzeCurrentFrame); when all request threads have
 * ended, the destructor stops the worker, wherever it is: asleep, before a pending frame, or
 * within a pass. Locks, condition variable and flags bear the names of the code. A signal without
 * a waiter is lost; a wait may or may not end without a signal. "The pixels" are mInputImage with
 * all that travels with it: its size, the worker's size, orientation and mirror flag.
 *
 * Checked, over all interleavings:
 * - no deadlock: every run that comes to rest has all threads ended;
 * - two threads never touch the pixels at the same time;
 * - the worker never sleeps on a frame that was handed over;
 * - every frame handed over gets exactly one pass, except at most one that stop finds pending;
 * - only its holder releases a lock, and nobody uses one that the destructor has destroyed;
 * - worker_ends: once stop has cleared mAnalyzingEnabled, the worker ends under any schedule.
 *
 * Options for spin:
 *   -DREQUEST_THREADS=N      number of request threads; 1 when not given
 *   -DUNLOCK_DATA_EARLY      a request thread releases mDataLock before it takes mFrameLock. It is
 *                            harmless with one request thread; a second one, though, can find the
 *                            flag still false and overwrite the pixels during the pass.
 *   -DDATA_LOCK_AFTER_FLAG   the worker publishes after it has cleared the flag: deadlock, already
 *                            with one request thread.
 *
 * scripts/check_worker_protocol.sh runs everything. By hand, in a scratch directory:
 *   spin -a -DREQUEST_THREADS=2 worker_protocol.pml
 *   gcc -DSAFETY -DNOCLAIM -DBFS -DNOREDUCE -o pan pan.c && ./pan    all but worker_ends
 *   gcc -DNOREDUCE -o pan pan.c && ./pan -a                          worker_ends
 *   spin -t -p -g -DREQUEST_THREADS=2 worker_protocol.pml            replays pan's finding
 *
 * Left out: memory order (all threads see each step at once; in the code the release store and
 * acquire load of mIsAnalyzing carry the pixels over), the content of pixels and results, the model
 * set-up and readers of results (no lock is held), start-up failures (no worker, so no hand-over),
 * and how long a thread waits for a lock that others keep taking.
 */

#ifndef REQUEST_THREADS
#define REQUEST_THREADS 1
#endif

#define GONE 255

byte mDataLock = 0;  /* 0: free, 1 + the holder's process number, or GONE for good */
byte mFrameLock = 0;
bool mIsAnalyzing = false;
bool mAnalyzingEnabled = true;

bool asleep = false;  /* the worker waits on mFrameCond and was not woken yet */
bool worker_ended = false;
byte requests_running = REQUEST_THREADS;
byte touching = 0;         /* threads that read or write the pixels right now */
bool unserved = false;     /* a frame was handed over and its pass has not ended */
bool overwritten = false;  /* a frame was handed over on top of an unserved one */

inline Lock(mutex) { atomic { mutex == 0 -> mutex = 1 + _pid } }
inline Unlock(mutex) { atomic { assert(mutex == 1 + _pid); mutex = 0 } }
inline Signal() { asleep = false }

/* Whether this wait may end without a signal is settled when it begins: nobody can count on that,
 * so a lost signal still shows as a deadlock. */
inline Wait(mutex) {
  atomic { assert(mutex == 1 + _pid && !mIsAnalyzing); asleep = true; mutex = 0 };
  if
  :: true -> !asleep
  :: true -> asleep = false
  fi;
  Lock(mutex)
}

inline BeginTouch() { atomic { assert(touching == 0); touching++ } }
inline EndTouch() { touching-- }

inline HandOver() {
  Lock(mFrameLock);
  atomic { overwritten = overwritten || unserved; unserved = true; mIsAnalyzing = true };
  Signal();
  assert(!asleep);
  Unlock(mFrameLock)
}

active [REQUEST_THREADS] proctype Request() {
  do
  :: true ->
    Lock(mDataLock);
    if
    :: true -> Unlock(mDataLock)  /* no faces, or a skipped frame */
    :: mIsAnalyzing || !mAnalyzingEnabled -> Unlock(mDataLock)
    :: !mIsAnalyzing && mAnalyzingEnabled ->
      BeginTouch(); EndTouch();
      if
      :: true -> Unlock(mDataLock)  /* no memory for the copy */
#ifdef UNLOCK_DATA_EARLY
      :: true -> Unlock(mDataLock); HandOver()
#else
      :: true -> HandOver(); Unlock(mDataLock)
#endif
      fi
    fi
  :: true -> break
  od;
  requests_running--
}

inline Publish() { Lock(mDataLock); Unlock(mDataLock) }

inline Pass() {
  BeginTouch();
  assert(unserved);
  if
  :: true  /* no memory for the pass */
  :: true ->
    Lock(mDataLock); Unlock(mDataLock);  /* snapshot of the faces */
#ifndef DATA_LOCK_AFTER_FLAG
    Publish()
#endif
  fi;
  EndTouch();
  unserved = false
}

active proctype Worker() {
  do
  :: !mAnalyzingEnabled -> break
  :: mAnalyzingEnabled ->
    Lock(mFrameLock);
    if :: !mAnalyzingEnabled -> Unlock(mFrameLock); break :: else fi;
    if :: !mIsAnalyzing -> Wait(mFrameLock) :: else fi;
    if :: !mAnalyzingEnabled -> Unlock(mFrameLock); break :: else fi;
    if :: mIsAnalyzing -> Pass() :: else fi;
    mIsAnalyzing = false;
#ifdef DATA_LOCK_AFTER_FLAG
    Publish();
#endif
    Unlock(mFrameLock)
  od;
  worker_ended = true
}

active proctype Stop() {
  bool abandoned;
  requests_running == 0;
  Lock(mFrameLock);
  mAnalyzingEnabled = false;
  abandoned = mIsAnalyzing;
  mIsAnalyzing = false;
  Signal();
  Unlock(mFrameLock);
  worker_ended;  /* join */
  BeginTouch(); EndTouch();  /* the buffers are freed */
  atomic { assert(mDataLock == 0 && mFrameLock == 0); mDataLock = GONE; mFrameLock = GONE };
  assert(!overwritten && unserved == abandoned)
}

ltl worker_ends { [] (!mAnalyzingEnabled -> <> worker_ended) }
