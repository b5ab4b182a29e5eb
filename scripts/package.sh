#!/usr/bin/env bash
# package.sh [build]: makes the Debian packages in build/package and tries them: lintian finds no error, the consumer
# projects build with what is in them, and the program works in a system that has nothing but them and
# what they declare. That system is a minimal one made by debootstrap, from wherever this system gets
# its packages; where it cannot be made, the script says so, unpacks the packages into a folder and
# checks that each library the program loads is among the declared dependencies. With build it only makes
# them.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" "${TOOL_PACKAGES[@]}" help2man dpkg-dev file lintian debootstrap

umask 022 # what is packed is for everybody
folder=build/package
base=$folder/base
root=$folder/root
unpacked=$folder/unpacked

rm -rf "$folder"/*.deb "$unpacked"
scripts/web.sh build
build package
# The packages are dated like the release, whenever they are made.
SOURCE_DATE_EPOCH=$(date --utc +%s --date "$(sed -n 's/^## [0-9.]* - //p' CHANGELOG.md | head -n 1)")
export SOURCE_DATE_EPOCH
(cd $folder && cpack >cpack.log 2>&1) || {
    cat $folder/cpack.log
    exit 1
}
[ "${1:-}" != build ] || exit 0

packages=("$folder"/*.deb)
lintian --allow-root --fail-on error "${packages[@]}"
# What lintian only mentions is an error here: programs and library are hardened alike.
lintian --allow-root --display-info --fail-on info \
    --tags hardening-no-bindnow,hardening-no-fortify-functions,hardening-no-pie,hardening-no-relro \
    "${packages[@]}"
echo "lintian: no errors in ${#packages[@]} packages"

# Whose code is compiled in is named in the copyright file. Of the libraries of C, C++, pictures and the system
# only declarations are, or what their licences except.
checkCopyright() {
    local part owner status=0
    for part in package web; do
        ninja -C build/$part -t deps | sed -n 's/^    \//\//p' | sort -u | xargs realpath |
            grep '^/usr/' | sort -u | xargs dpkg -S | sed 's/[:,].*//' | sort -u
    done >$folder/owners
    while read -r owner; do
        case $owner in
        libc6-dev | libgcc-*-dev | libstdc++-*-dev | linux-libc-dev) continue ;;
        libcairo2-dev | libspng-dev | libturbojpeg0-dev | zlib1g-dev) continue ;;
        esac
        grep -qw -e "$owner" cmake/packaging/copyright || {
            echo "cmake/packaging/copyright does not name $owner, whose code is compiled in"
            status=1
        }
    done <$folder/owners
    return $status
}
checkCopyright

for package in "${packages[@]}"; do
    dpkg-deb --extract "$package" "$unpacked"
done
# Since which version the library has had each name that it has.
dpkg-gensymbols -plibcalibmap1 "-v$(sed -n 's/^## \([0-9.]*\) - .*/\1/p' CHANGELOG.md | head -n 1)" -c4 \
    -Idebian/libcalibmap1.symbols "-P$unpacked" "-e$(echo "$unpacked"/usr/lib/*/libcalibmap.so.*.*)" \
    -O/dev/null
scripts/consumers.sh "$unpacked/usr"

# A minimal system with nothing of ours in it, kept for the next time.
makeBase() {
    local suite site
    [ ! -d $base ] || return 0
    [ "$(id -u)" = 0 ] || return 1
    # shellcheck disable=SC2016 # the format is for apt-get
    read -r site suite < <(apt-get indextargets --format '$(SITE) $(RELEASE)' 'Created-By: Packages') ||
        return 1
    rm -rf --one-file-system $base.partial
    # /usr/sbin is not on everybody's path.
    PATH=$PATH:/usr/sbin debootstrap --variant=minbase "$suite" $base.partial "$site" || return 1
    rm -f $base.partial/etc/apt/sources.list
    cp -r /etc/apt/sources.list* $base.partial/etc/apt/
    cp /etc/resolv.conf $base.partial/etc/
    echo force-unsafe-io >$base.partial/etc/dpkg/dpkg.cfg.d/fast
    mv $base.partial $base
}

# tryProgram PREFIX...: the program, run behind PREFIX, accepts the file that it makes, and no other.
tryProgram() {
    "$@" calibmap sample -o /tmp/lens.bin
    "$@" calibmap check /tmp/lens.bin
    if "$@" calibmap check "$("$@" which calibmap)"; then
        echo "the program takes itself for a calibration file"
        return 1
    fi
}

installInRoot() {
    rm -rf --one-file-system $root
    cp -a $base $root
    cp "${packages[@]}" $root/tmp/
    # shellcheck disable=SC2016 # the commands are for the shell inside
    chroot $root sh -ec '
        export DEBIAN_FRONTEND=noninteractive
        apt-get update -qq
        apt-get install -y -qq --no-install-recommends /tmp/*.deb >/tmp/log 2>&1 || {
            cat /tmp/log
            exit 1
        }
        dpkg-query -W "*calibmap*"
        echo "of $(dpkg-query -W | wc -l) packages in all"' || return 1
    tryProgram chroot $root
    # Imported by root, upgraded, imported again: what the interpreter compiles goes with the package.
    local use='import calibmap, importlib.metadata
assert importlib.metadata.version("calibmap") == calibmap.__version__
print(calibmap.maps("/tmp/lens.bin").shape)'
    unset PYTHONDONTWRITEBYTECODE # which would hide what is tried here
    chroot $root python3 -c "$use"
    chroot $root sh -ec 'dpkg -i /tmp/*.deb >/dev/null'
    chroot $root python3 -c "$use"
    chroot $root sh -ec 'dpkg --purge calibmap python3-calibmap libcalibmap-dev libcalibmap1 >/dev/null
        ! find / -xdev -name "*calibmap*" -not -path "/tmp/*" -not -path "/proc/*" | grep .'
    rm -rf --one-file-system $root
}

# Every library that the program loads belongs to a package that ours depend on.
checkDependencies() {
    local depends declared library owner
    depends=$(dpkg-deb -f "$folder"/calibmap_*.deb Depends | tr ',' '\n' | sed 's/(.*//')
    # shellcheck disable=SC2086 # several packages
    declared=$(apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts --no-breaks \
        --no-replaces --no-enhances ${depends/libcalibmap1/} | grep '^[a-z]')
    ldd "$unpacked/usr/bin/calibmap" | sed -n 's/.* => \(.*\) (.*/\1/p' | while read -r library; do
        case $library in */unpacked/*) continue ;; esac
        library=$(realpath "$library") # packages of merged directories still say /lib
        owner=$(dpkg-query -S "$library" 2>/dev/null || dpkg-query -S "${library#/usr}")
        owner=${owner%%:*}
        grep -qx -e "$owner" <<<"$declared" || {
            echo "$library belongs to $owner, which is not among the dependencies"
            return 1
        }
    done
}

if makeBase >$folder/debootstrap.log 2>&1; then
    installInRoot
    echo "installed, used and removed in a minimal system"
else
    tail -n 3 $folder/debootstrap.log
    echo "NO MINIMAL SYSTEM: debootstrap cannot run here; trying the packages unpacked instead"
    LD_LIBRARY_PATH=$(echo "$unpacked"/usr/lib/*-linux-gnu*)
    export LD_LIBRARY_PATH
    checkDependencies
    tryProgram env PATH="$unpacked/usr/bin:$PATH"
fi
