#!/usr/bin/env bash
# Runs a command on a system that reports one processor, so the codec's one-thread
# paths run on a multi-processor machine: Wine (and glibc) count processors from
# /sys/devices/system/cpu/online, which a private mount namespace can hide.
#   one-processor.sh COMMAND [ARGS...]
# Needs root for the mount namespace; exits 77 (skipped) without it.
set -euo pipefail
unshare -m true 2>/dev/null || { echo "one-processor.sh: needs root for unshare -m; skipped" >&2; exit 77; }
online=$(mktemp /tmp/trvx-online.XXXXXX)
echo 0 >"$online"
trap 'rm -f "$online"' EXIT
unshare -m sh -c 'mount --bind "$0" /sys/devices/system/cpu/online && exec "$@"' "$online" "$@"
