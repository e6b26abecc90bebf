#!/bin/sh
# Installs what a fresh Debian machine lacks to build, run and test ftmd.
set -e

# One package a line; tools and tests may add what they use.
PACKAGES="
build-essential
cmake
ccache
pkg-config
libgtest-dev
libgmock-dev
libbenchmark-dev
util-linux
tshark
libyaml-cpp-dev
libtinyxml2-dev
nlohmann-json3-dev
libpng-dev
libjpeg-dev
libjpeg-turbo-progs
libimage-exiftool-perl
chromium
chromium-driver
sqlite3
libsqlite3-dev
postgresql
libpq-dev
libcli11-dev
clang
libclang-rt-14-dev
xxd
g++-arm-linux-gnueabi
qemu-user
gnuplot-nox
"

# The ARM build's libraries (static archives and headers), unpacked from
# Debian's armel packages into a sysroot: apt cannot install them as
# multiarch packages on a mirror whose armel and amd64 indexes disagree.
ARMEL_SYSROOT=/opt/ftmd-armel
ARMEL_PACKAGES="libpng-dev:armel zlib1g-dev:armel libjpeg62-turbo-dev:armel nlohmann-json3-dev:all"

missing=""
for p in $PACKAGES; do
	dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
if [ -n "$missing" ]; then
	SUDO=""
	[ "$(id -u)" -eq 0 ] || SUDO="sudo"
	echo "setup: installing$missing"
	$SUDO apt-get update
	DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y --no-install-recommends $missing
fi

if [ "$(cat "$ARMEL_SYSROOT/.packages" 2>/dev/null)" != "$ARMEL_PACKAGES" ]; then
	SUDO=""
	[ "$(id -u)" -eq 0 ] || SUDO="sudo"
	echo "setup: unpacking $ARMEL_PACKAGES into $ARMEL_SYSROOT"
	if ! dpkg --print-foreign-architectures | grep -qx armel; then
		$SUDO dpkg --add-architecture armel
		$SUDO apt-get update
	fi
	debs=$(mktemp -d)
	chmod 755 "$debs"
	(cd "$debs" && apt-get download $ARMEL_PACKAGES)
	$SUDO rm -rf "$ARMEL_SYSROOT"
	$SUDO mkdir -p "$ARMEL_SYSROOT"
	for d in "$debs"/*.deb; do
		$SUDO dpkg-deb -x "$d" "$ARMEL_SYSROOT"
	done
	rm -rf "$debs"
	echo "$ARMEL_PACKAGES" | $SUDO tee "$ARMEL_SYSROOT/.packages" >/dev/null
fi
