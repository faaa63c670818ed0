#!/bin/sh
# Makes an unpacked arm64 Wine sysroot runnable under qemu-user without binfmt_misc:
#   prepare-sysroot.sh SYSROOT QEMU_AARCH64
# Wine starts every Windows process as "BINDIR/wine64-preloader BINDIR/wine64 ARGS" when
# that preloader exists (the arm64 package has none), and its server as BINDIR/wineserver.
# Both become host shell scripts that run the aarch64 ELF files under qemu-aarch64-static.
set -e
root=$(realpath "$1"); qemu=$(realpath "$2"); bin=$root/usr/lib/wine
# Debian's wineserver is a script that would start the host's amd64 server.
[ -e "$bin/wineserver.orig" ] || mv "$bin/wineserver" "$bin/wineserver.orig"
cat > "$bin/wine64-preloader" <<EOS
#!/bin/sh
# Not Wine's preloader: runs the loader (\$1) under qemu-user (see prepare-sysroot.sh).
loader=\$1; shift
exec "$qemu" -L "$root" "\$loader" "\$@"
EOS
cat > "$bin/wineserver" <<EOS
#!/bin/sh
# The arm64 wine server of this sysroot under qemu-user (see prepare-sysroot.sh).
exec "$qemu" -L "$root" "$bin/wineserver64" -p0 "\$@"
EOS
chmod +x "$bin/wine64-preloader" "$bin/wineserver"
