#!/usr/bin/env bash
# Keeps host code in platform/: no system header of the host and no host #if anywhere else in the library.
# One exception: the time header carries the runtime's timeb record, which the interface hands out and
# which every host's C runtime declares in <sys/timeb.h>.
set -euo pipefail
cd "$(dirname "$0")/.."
pattern='^\s*#\s*include\s*<(unistd|fcntl|dlfcn|pthread|iconv|ifaddrs|netdb|poll|dirent|sys/[a-z_]+|netinet/[a-z_]+|arpa/[a-z_]+|linux/[a-z_]+)\.h>|^\s*#\s*if(def)?\s*.*(__linux__|_WIN32)'
leaks=$(git ls-files -co --exclude-standard -- '*.h' '*.cpp' '*.hpp' '*.cc' |
        grep -vE '^(platform|tests|bench|fuzz|tools)/' | xargs -r grep -HnE "$pattern" |
        grep -vE '^time/COsSystemTime\.h:[0-9]+:#include <sys/timeb\.h>$' || true)
if [ -n "$leaks" ]; then
  echo "Host code outside platform/:" >&2
  echo "$leaks" >&2
  exit 1
fi
echo "layering: host code stays in platform/"
