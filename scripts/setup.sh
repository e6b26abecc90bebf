#!/bin/sh
# Installs what a fresh Debian machine lacks to build, run and test ftmd.
set -e

# One package a line; tools and tests may add what they use.
PACKAGES="
build-essential
cmake
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
"

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
