#!/usr/bin/env bash
# Keeps host code in platform/'s host sides: elsewhere, the host layer's own headers included, the library
# includes only C++ standard headers and the project's own (an allow-list, so that no system header slips
# in), and no #if looks at the host. One exception: the time header carries the runtime's timeb record,
# which the interface hands out and which every host's C runtime declares in <sys/timeb.h>.
set -euo pipefail
cd "$(dirname "$0")/.."

# The C++17 standard library, the C library's <cxxx> forms included.
standard='algorithm any array atomic bitset cassert cctype cerrno cfenv cfloat charconv chrono cinttypes climits
clocale cmath codecvt complex condition_variable csetjmp csignal cstdarg cstddef cstdint cstdio cstdlib cstring
ctime cuchar cwchar cwctype deque exception execution filesystem forward_list fstream functional future
initializer_list iomanip ios iosfwd iostream istream iterator limits list locale map memory memory_resource
mutex new numeric optional ostream queue random ratio regex scoped_allocator set shared_mutex sstream stack
stdexcept streambuf string string_view system_error thread tuple type_traits typeindex typeinfo
unordered_map unordered_set utility valarray variant vector'
# Headers the build writes: the export macro and the host's form of the Windows records.
generated='VeltraneExport.h VeltraneWindowsRecords.h'
standard=" $(echo $standard) "
allowed_system='time/COsSystemTime.h:sys/timeb.h'

problems=()
while IFS= read -r file; do
  while IFS= read -r match; do
    line=${match%%:*}
    text=${match#*:}
    if [[ $text =~ ^[[:space:]]*#[[:space:]]*include[[:space:]]*\<([^>]+)\> ]]; then
      header=${BASH_REMATCH[1]}
      [[ $standard == *" $header "* || $allowed_system == "$file:$header" ]] ||
        problems+=("$file:$line: <$header> is not a C++ standard header")
    elif [[ $text =~ ^[[:space:]]*#[[:space:]]*include[[:space:]]*\"([^\"]+)\" ]]; then
      header=${BASH_REMATCH[1]}
      # A public header names its neighbours relative to itself, as an installed header must.
      if [[ " $generated " != *" $header "* && ! -f $header && ! -f $(dirname "$file")/$header ]]; then
        problems+=("$file:$line: \"$header\" is not one of the project's headers")
      elif [[ $header == platform/*/* ]]; then
        problems+=("$file:$line: \"$header\" belongs to one host's side of the host layer")
      fi
    elif [[ $text =~ ^[[:space:]]*#[[:space:]]*(ifdef|ifndef|elif|if).*(__linux__|__unix__|__APPLE__|_WIN32|_WIN64|__MINGW|_MSC_VER|__CYGWIN__) ]]; then
      problems+=("$file:$line: a host test in #${BASH_REMATCH[1]}")
    fi
  done < <(grep -nE '^[[:space:]]*#[[:space:]]*(include|if|ifdef|ifndef|elif)' "$file" || true)
done < <(git ls-files -co --exclude-standard -- '*.h' '*.cpp' '*.hpp' '*.cc' | grep -vE '^(platform/[^/]+|tests|bench|fuzz|tools|build)/')

if [ ${#problems[@]} -gt 0 ]; then
  echo "Host code outside platform/:" >&2
  printf '  %s\n' "${problems[@]}" >&2
  exit 1
fi
echo "layering: outside platform/ only C++ standard headers and the project's own"
