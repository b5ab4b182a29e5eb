#!/usr/bin/env bash
# package.sh [build]: makes the source package and the Debian packages in build/package, with a list of whose code is
# in them (CycloneDX), and tries them: lintian finds no error, and in a minimal system they are built with
# nothing but what they say they need, installed, tested as debian/tests says, upgraded and purged. That
# system is made by debootstrap, from wherever this system gets its packages; where it cannot be made, the script
# says so, and builds and unpacks the packages here. With build it only makes them, here.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" "${TOOL_PACKAGES[@]}" "${PAGE_PACKAGES[@]}" debhelper dh-python dpkg-dev
command -v npm >/dev/null || need nodejs npm

umask 022 # what is packed is for everybody
folder=$PWD/build/package
version=$(sed -n 's/^## \([0-9.]*\) - .*/\1/p' CHANGELOG.md | head -n 1)
source=calibmap-$version
base=$folder/base
root=$folder/root

# quietly COMMAND...: what it prints is shown only when it fails.
quietly() {
    "$@" >"$folder/log" 2>&1 || {
        tail -n 40 "$folder/log"
        return 1
    }
}

# The source archive is the one that is handed out for Python too.
makeSource() {
    rm -rf "$folder"/*calibmap*
    mkdir -p "$folder"
    (cd python && /usr/bin/python3 -B -c 'import build_wheel, sys; build_wheel.build_sdist(sys.argv[1])' "$folder")
    mv "$folder/$source.tar.gz" "$folder/calibmap_$version.orig.tar.gz"
    tar -xzf "$folder/calibmap_$version.orig.tar.gz" -C "$folder"
    (cd "$folder" && quietly dpkg-source -b "$source")
}

# What is run where the packages are built; the tests have their own steps.
# shellcheck disable=SC2016 # its words are for the shell that runs it
buildBinaries='
    cd $1
    # For the program that writes its manual: $ORIGIN means nothing where there is no /proc.
    export LD_LIBRARY_PATH=$1/obj-$(dpkg-architecture -q DEB_HOST_GNU_TYPE)
    DEB_BUILD_OPTIONS=nocheck dpkg-buildpackage -b -us -uc -Pnocheck
    program=../calibmap_${PWD##*-}-*.deb
    library=../libcalibmap1_${PWD##*-}-*.deb
    objects=$(echo obj-*)
    {
        scripts/linked.sh $library compiled $objects CMakeFiles/calibmap.dir/
        scripts/linked.sh $library loaded $objects/libcalibmap.so
        scripts/linked.sh $program compiled $objects "^(inspection|tools)/"
        scripts/linked.sh $program loaded debian/calibmap/usr/bin/calibmap
        wasm() { clang++ --target=wasm32-wasi "$@"; }
        scripts/linked.sh build/web/calibmap.html compiled build/web . "$(command -v esbuild)" \
            $(wasm -print-libgcc-file-name) $(for part in crt1-reactor.o libc.a libc++.a libc++abi.a; do
                wasm -print-file-name=$part
            done)
    } >../linked'

# Whose code is compiled in is named in the copyright file. Of the libraries of C, C++, pictures and the system
# only declarations are, or what their licences except.
checkCopyright() {
    local package status=0
    while read -r package; do
        case $package in
        libc6-dev | libgcc-*-dev | libstdc++-*-dev | linux-libc-dev) continue ;;
        libcairo2-dev | libspng-dev | libturbojpeg0-dev | zlib1g-dev) continue ;;
        esac
        grep -qw -e "$package" debian/copyright || {
            echo "debian/copyright does not name $package, whose code is compiled in"
            status=1
        }
    done < <(awk '$2 == "compiled" { print $3 }' "$folder/linked" | sort -u)
    return $status
}

writeSbom() {
    echo "installing: the packages of scripts/sbom/package-lock.json, into scripts/sbom/node_modules"
    npm ci --prefix scripts/sbom --ignore-scripts --no-audit --no-fund --loglevel=error
    (cd "$folder/$source" &&
        node ../../../scripts/sbom/sbom.js "$version" "$(dpkg-parsechangelog -S Timestamp)" <../linked) \
        >"$folder/calibmap_$version.cdx.json"
}

finish() {
    checkCopyright
    writeSbom
}

makeSource
if [ "${1:-}" = build ]; then
    quietly sh -ec "$buildBinaries" - "$folder/$source"
    finish
    exit
fi
need file lintian debootstrap autopkgtest

# A minimal system with nothing of ours in it, kept for the next time.
makeBase() {
    local suite site
    [ ! -d "$base" ] || return 0
    [ "$(id -u)" = 0 ] || return 1
    # shellcheck disable=SC2016 # the format is for apt-get
    read -r site suite < <(apt-get indextargets --format '$(SITE) $(RELEASE)' 'Created-By: Packages') ||
        return 1
    rm -rf --one-file-system "$base.partial"
    # /usr/sbin is not on everybody's path.
    PATH=$PATH:/usr/sbin debootstrap --variant=minbase "$suite" "$base.partial" "$site" || return 1
    rm -f "$base.partial/etc/apt/sources.list"
    cp -r /etc/apt/sources.list* "$base.partial/etc/apt/"
    cp /etc/resolv.conf "$base.partial/etc/"
    echo force-unsafe-io >"$base.partial/etc/dpkg/dpkg.cfg.d/fast"
    echo 'APT::Install-Recommends "false";' >"$base.partial/etc/apt/apt.conf.d/few"
    chroot "$base.partial" apt-get update -qq || return 1
    mv "$base.partial" "$base"
}

freshRoot() {
    rm -rf --one-file-system "$root"
    cp -a "$base" "$root"
}

buildInRoot() {
    freshRoot
    cp -r "$folder/$source" "$root/tmp/"
    quietly chroot "$root" env DEBIAN_FRONTEND=noninteractive apt-get build-dep -qq -P nocheck "/tmp/$source"
    quietly chroot "$root" sh -ec "$buildBinaries" - "/tmp/$source"
    cp "$root"/tmp/*.deb "$root"/tmp/*.buildinfo "$root"/tmp/*.changes "$root/tmp/linked" "$folder/"
    mkdir -p "$folder/$source/build/web"
    cp "$root/tmp/$source/build/web/calibmap.html" "$folder/$source/build/web/"
    echo "built in a minimal system and $(chroot "$root" dpkg-query -W | wc -l) packages in all"
}

tryInRoot() {
    freshRoot
    autopkgtest --summary-file "$folder/autopkgtest" "${packages[@]}" "$folder/calibmap_$version-1.dsc" \
        -- chroot "$root" >"$folder/log" 2>&1 || true
    cat "$folder/autopkgtest"
    # A test that was left out would not be a failure to autopkgtest.
    [ "$(grep -c ' PASS' "$folder/autopkgtest")" = "$(grep -c ^Test-Command debian/tests/control)" ] || {
        tail -n 60 "$folder/log"
        return 1
    }
    # Imported by root, upgraded, imported again: what the interpreter compiles goes with the package.
    local use='import calibmap, importlib.metadata
assert importlib.metadata.version("calibmap") == calibmap.__version__'
    unset PYTHONDONTWRITEBYTECODE # which would hide what is tried here
    cp "${packages[@]}" "$root/tmp/"
    quietly chroot "$root" sh -ec 'apt-get install -qq --reinstall /tmp/*.deb'
    chroot "$root" python3 -c "$use"
    quietly chroot "$root" sh -ec 'dpkg -i /tmp/*.deb'
    chroot "$root" python3 -c "$use"
    # shellcheck disable=SC2016 # it is for the shell inside
    quietly chroot "$root" sh -ec 'dpkg --purge $(dpkg-query -W -f "\${Package}\n" "*calibmap*")'
    ! chroot "$root" find / -xdev -name '*calibmap*' -not -path '/tmp/*' -not -path '/proc/*' | grep . || return 1
    rm -rf --one-file-system "$root"
}

if quietly makeBase; then
    buildInRoot
else
    echo "NO MINIMAL SYSTEM: debootstrap cannot run here; building here, and trying the packages unpacked"
    quietly sh -ec "$buildBinaries" - "$folder/$source"
fi
finish

packages=()
for package in "$folder"/*.deb; do
    case $package in *-dbgsym_*) ;; *) packages+=("$package") ;; esac
done
lintian --allow-root --fail-on error "$folder"/*.changes
# What lintian only mentions is an error here: programs and library are hardened alike.
lintian --allow-root --display-info --fail-on info \
    --tags hardening-no-bindnow,hardening-no-fortify-functions,hardening-no-pie,hardening-no-relro "${packages[@]}"
echo "lintian: no errors"

if [ -d "$base" ]; then
    tryInRoot
    echo "built, installed, used, upgraded and removed in a minimal system"
else
    for package in "${packages[@]}"; do
        dpkg-deb --extract "$package" "$folder/unpacked-calibmap"
    done
    scripts/consumers.sh "$folder/unpacked-calibmap/usr"
fi
