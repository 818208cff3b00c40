#!/usr/bin/env bash
# Builds the Debian packages and the tarball in a build directory configured
# with -DCMAKE_INSTALL_PREFIX=/usr, installs both packages on this machine,
# builds and runs the downstream program against the system install, removes
# the packages and checks that none of their files is left. Needs root.
#   .ci/packages.sh <build-dir>
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=$1
work=$build_dir/package-check
[ "$(id -u)" -eq 0 ] || { echo "installing packages needs root" >&2; exit 1; }

# Known to dpkg at all, installed or removed with its ldconfig postrm kept.
known() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -qv ' not-installed$'; }
purge_packages() {
  local present=()
  for package in "${packages[@]}"; do if known "$package"; then present+=("$package"); fi; done
  [ ${#present[@]} -eq 0 ] || dpkg --purge "${present[@]}" >/dev/null
}

rm -rf "$build_dir/packages" "$work"
mkdir -p "$work"
(cd "$build_dir" && cpack >cpack.log 2>&1) || { cat "$build_dir/cpack.log" >&2; exit 1; }
runtime_deb=$(ls "$build_dir"/packages/libqrixl.portinglayer[0-9]*_*.deb)
dev_deb=$(ls "$build_dir"/packages/libqrixl.portinglayer-dev_*.deb)
tarball=$(ls "$build_dir"/packages/*.tar.gz)
packages=("$(dpkg-deb -f "$dev_deb" Package)" "$(dpkg-deb -f "$runtime_deb" Package)")
ls -l "$runtime_deb" "$dev_deb" "$tarball" | awk '{print $5, $NF}'
for deb in "$runtime_deb" "$dev_deb"; do echo "$(dpkg-deb -f "$deb" Package) depends on $(dpkg-deb -f "$deb" Depends)"; done

# The dev package pins the runtime of its own version.
version=$(dpkg-deb -f "$runtime_deb" Version)
depends=$(dpkg-deb -f "$dev_deb" Depends)
[ "$depends" = "${packages[1]} (= $version)" ] || { echo "dev package depends on: $depends" >&2; exit 1; }

# The tarball holds the same install tree as the two packages together.
deb_files() { dpkg-deb -c "$1" | awk '$1 !~ /^d/ {print $6}' | sed 's|^\./||'; }
{ deb_files "$runtime_deb"; deb_files "$dev_deb"; } | sort >"$work/deb-files"
tar tzvf "$tarball" | awk '$1 !~ /^d/ {print $6}' | cut -d/ -f2- | sort >"$work/tar-files"
diff -u "$work/deb-files" "$work/tar-files" >&2 || { echo "tarball and packages differ" >&2; exit 1; }

# A run that stopped half-way may have left them installed; never leave them.
purge_packages
trap purge_packages EXIT

# Every path the packages bring that was not there before must go again.
{ dpkg-deb -c "$runtime_deb"; dpkg-deb -c "$dev_deb"; } | awk '{print $6}' | sed 's|^\.||; s|/$||' \
  | grep . | sort -u | while read -r path; do
  [ -e "$path" ] || [ -L "$path" ] || echo "$path"
done >"$work/new-paths"

dpkg -i "$runtime_deb" "$dev_deb" >/dev/null
cmake -DQRIX_CONSUMER_SOURCE="$PWD/tests/consumer" -DQRIX_WORK_DIR="$PWD/$work/consumer" \
  -P tests/consumer/check_consumer.cmake
dpkg -r "${packages[@]}" >/dev/null
left=$(while read -r path; do
  if [ -e "$path" ] || [ -L "$path" ]; then echo "$path"; fi
done <"$work/new-paths")
[ -z "$left" ] || { echo "left on disk after dpkg -r:"$'\n'"$left" >&2; exit 1; }
# dpkg keeps the runtime's ldconfig postrm until a purge; then it must forget both.
purge_packages
trap - EXIT
for package in "${packages[@]}"; do
  ! known "$package" || { echo "dpkg still knows $package after purge" >&2; exit 1; }
done
echo "installed, used and removed ${packages[*]} $version; $(wc -l <"$work/new-paths") paths gone again"
