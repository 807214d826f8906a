#!/usr/bin/env bash
# Makes the Debian 13 userland that the product is built and run in, once, in the user's cache directory.
# Usage: buildroot.sh        prints the path of the finished root, making it first when it is not there
# The root is named by a hash of the files of this folder; it is built aside and renamed when it is whole.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/ostravel-installer
key=$(cd "$here" && find . -type f ! -name '*.cmake' | LC_ALL=C sort | xargs sha256sum | sha256sum | cut -c1-16)
root=$cache/root-$key
log=$cache/root-$key.log

if [ -e "$root/.complete" ]; then
    echo "$root"
    exit 0
fi

as_root() { if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi; }

step_name="start"
step() {
    step_name=$1
    shift
    echo "buildroot: $step_name ..." >&2
    "$@" >>"$log" 2>&1 </dev/null
}
aside=
finish() {
    status=$?
    if [ -n "$aside" ] && [ -d "$aside" ]; then as_root rm -rf --one-file-system "$aside"; fi
    if [ $status -ne 0 ]; then
        echo "buildroot: failed at: $step_name; last lines of $log:" >&2
        tail -n 15 "$log" >&2 || true
    fi
}
trap finish EXIT

mkdir -p "$cache"
exec 9>"$cache/root-$key.lock"
flock 9
if [ -e "$root/.complete" ]; then
    echo "$root"
    exit 0
fi
: >"$log"

# The mirror that the host's own apt uses; nothing here names one.
find_mirror() {
    apt-get indextargets --format '$(ORIGIN)|$(LABEL)|$(REPO_URI)' 'Created-By: Packages' 2>/dev/null |
        sed -n 's/^Debian|Debian|//p' | sort -u | head -n 1
}

inside() {
    as_root bwrap --bind "$aside" / --ro-bind "$here" /toolchain --proc /proc --dev /dev --tmpfs /run \
        --ro-bind /etc/resolv.conf /etc/resolv.conf --clearenv --setenv HOME /root --setenv LC_ALL C.UTF-8 \
        --setenv DEBIAN_FRONTEND noninteractive --setenv PATH /usr/sbin:/usr/bin:/sbin:/bin \
        --die-with-parent --chdir / "$@"
}

if ! command -v debootstrap >/dev/null || ! command -v bwrap >/dev/null || [ -z "$(find_mirror)" ]; then
    step "package lists of the host" as_root apt-get update
    step "debootstrap and bubblewrap on the host" as_root apt-get install -y --no-install-recommends debootstrap bubblewrap
fi
mirror=$(find_mirror)
if [ -z "$mirror" ]; then
    step_name="finding the Debian mirror of the host's apt"
    exit 1
fi

# What a run that was killed left of its own attempt.
as_root rm -rf --one-file-system "$cache/making-$key"
aside=$cache/making-$key
mkdir "$aside"
step "Debian 13 base system" as_root debootstrap --variant=minbase trixie "$aside" "$mirror"
printf 'deb %s trixie main\ndeb-src %s trixie main\n' "$mirror" "$mirror" |
    as_root tee "$aside/etc/apt/sources.list" >/dev/null
step "package lists" inside apt-get update
# shellcheck disable=SC2046
step "packages (about 1 GB, a minute or two)" inside apt-get install -y --no-install-recommends $(cat "$here/packages.txt")
step "libraries for the Windows target (about two minutes)" inside bash /toolchain/libraries.sh
step "clean-up" inside sh -c 'apt-get clean; rm -rf /var/lib/apt/lists/*'
as_root touch "$aside/.complete"
as_root mv "$aside" "$root"
aside=
echo "buildroot: ready" >&2
echo "$root"
