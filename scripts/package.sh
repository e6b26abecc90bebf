#!/bin/sh
# Makes the phone's install bundle: dist/ftmd-armel.tar.gz with the
# stripped static ftmd and INSTALL. Builds the armel preset if needed.
set -e
cd "$(dirname "$0")/.."
sh scripts/setup.sh
cmake --preset armel >/dev/null
cmake --build --preset armel --target ftmd

stage=dist/ftmd-armel
rm -rf "$stage"
mkdir -p "$stage"
arm-linux-gnueabi-strip -o "$stage/ftmd" build-armel/bin/ftmd
chmod 755 "$stage/ftmd"
cp scripts/INSTALL.armel "$stage/INSTALL"
git rev-parse --short HEAD >"$stage/REVISION" 2>/dev/null || echo unknown >"$stage/REVISION"
tar -C dist -czf dist/ftmd-armel.tar.gz ftmd-armel
rm -rf "$stage"
echo "dist/ftmd-armel.tar.gz: ftmd $(wc -c <build-armel/bin/ftmd) bytes, stripped $(tar -xzOf dist/ftmd-armel.tar.gz ftmd-armel/ftmd | wc -c) bytes"
