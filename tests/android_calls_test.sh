#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Android's C library at API level 29 lacks calls that the host's has. The shipping folders keep
# away from those that somebody might reach for.
# usage: android_calls_test.sh SOURCE_DIRECTORY
set -euo pipefail
cd "$1"
missing=(
  # Thread cancellation, robust mutexes and priority ceilings were never there.
  pthread_cancel pthread_setcancelstate pthread_setcanceltype pthread_testcancel
  pthread_mutexattr_setrobust pthread_mutex_consistent pthread_mutexattr_setprioceiling
  pthread_tryjoin_np pthread_timedjoin_np
  # Nor were these.
  wordexp shm_open mq_open aio_read aio_write swapcontext makecontext
  # Later than 29.
  pthread_cond_clockwait pthread_mutex_clocklock sem_clockwait memfd_create backtrace
  pthread_setaffinity_np
)
calls=$(IFS='|'; echo "${missing[*]}")
status=0
found=$(grep -nE "\b($calls) *\(" -r src) || status=$?
if [ "$status" -ne 1 ]; then
  printf 'FAIL calls that a device does not offer:\n%s\n' "$found"
  exit 1
fi
echo "no call that a device does not offer"
