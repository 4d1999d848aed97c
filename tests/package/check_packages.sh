#!/usr/bin/env bash
# check_packages.sh FOLDER: installs the packages on a clean root, builds and runs a host there, plays a file, and removes them
# again without a rest. Needs root and the network.
set -euo pipefail
packages=$(cd "$1" && pwd)
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(mktemp -d)
trap 'umount "$root/proc" 2>/dev/null || true; rm -rf "$root"' EXIT

# The mirror, and what else this machine needs to reach it.
mirror=$(cat /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources 2>/dev/null |
  awk '$1 == "deb" && !found { for (i = 2; i <= NF; i++) if ($i ~ /^http/) { print $i; found = 1; break } }
       $1 == "URIs:" && !found { print $2; found = 1 }' || true)
debootstrap --variant=minbase bookworm "$root" "$mirror" >"$packages/clean-root.log"
cp /etc/resolv.conf "$root/etc/" 2>/dev/null || true
cp /etc/apt/apt.conf.d/99* "$root/etc/apt/apt.conf.d/" 2>/dev/null || true
mkdir "$root/packages" "$root/host"
cp "$packages"/*.deb "$root/packages/"
cp "$here"/../../examples/stream_file.c "$here"/../../samples/amrnb.3gp "$root/host/"
mount -t proc proc "$root/proc"
inside() { chroot "$root" env DEBIAN_FRONTEND=noninteractive LC_ALL=C "$@" >>"$packages/clean-root.log" 2>&1; }
fail() { tail -20 "$packages/clean-root.log"; echo "packages: $1"; exit 1; }

inside apt-get update
inside apt-get install -y --no-install-recommends gcc libc6-dev pkg-config gstreamer1.0-tools
inside sh -c 'apt-get install -y --no-install-recommends /packages/lib*.deb /packages/qlip_*.deb /packages/gstreamer*.deb' ||
  fail "they do not install"
inside sh -c 'cd /host && cc -std=c99 stream_file.c $(pkg-config --cflags --libs qlip-host) -o host && ./host amrnb.3gp its' ||
  fail "a host does not build and run"
inside qlip stream /host/amrnb.3gp -o /host/stream || fail "qlip does not stream"
cmp "$root/host/its" "$root/host/stream" || fail "the host streams something else"
inside gst-inspect-1.0 qlipsrc || fail "GStreamer does not find the element"
inside sh -c 'apt-get purge -y --auto-remove libqlip1 libqlip-host1 libqlip-dev qlip gstreamer1.0-qlip' ||
  fail "they cannot be removed"
rest=$(chroot "$root" sh -c "find / -xdev -name '*qlip*' -not -path '/packages/*' -not -path '/var/log/*' -not -path '/var/cache/*'")
[ -z "$rest" ] || fail "this stays behind: $rest"
echo "packages: they install on a clean root, work, and go without a rest"
