#!/usr/bin/env bash
# Runs inside the new root: builds the static libraries of the Windows target into /opt/target.
set -euxo pipefail

prefix=/opt/target
target=x86_64-w64-mingw32
work=/tmp/libraries
mkdir -p $prefix/{include,lib,delay} $work
cd $work

# Headers of libraries that are headers only, each visible alone: /usr/include itself stays off the cross compiler's path.
mkdir -p $prefix/boost $prefix/tclap
ln -sfn /usr/include/boost $prefix/boost/boost
ln -sfn /usr/include/tclap $prefix/tclap/tclap

# Forwarding headers for names whose case differs, and the compiler's missing intrinsics.
mkdir -p $prefix/compat
for name in SDKDDKVer Windows Winhttp Strsafe VersionHelpers Wincrypt; do
    echo "#include <${name,,}.h>" >$prefix/compat/$name.h
done
cp /toolchain/include/cpprest_compat.h $prefix/compat/

# Runs as root, where apt's own download user cannot write here.
apt-get -o APT::Sandbox::User=root source --download-only --tar-only cpprest zlib

mkdir zlib cpprest
tar -C zlib --strip-components=1 -xf zlib_*.orig.tar.*
tar -C cpprest --strip-components=1 -xf cpprest_*.orig.tar.*

# minizip: the reader and its wide-path file access. The cross zlib comes with the packages.
cp zlib/contrib/minizip/{unzip,ioapi,iowin32}.h $prefix/include/
for unit in unzip ioapi iowin32; do
    $target-gcc -O2 -ffunction-sections -fdata-sections -DNOUNCRYPT -w -c zlib/contrib/minizip/$unit.c -o $unit.o
done
$target-ar rcs $prefix/lib/libminizip.a unzip.o ioapi.o iowin32.o

sed -i 's/_MSC_VER >= 1900/1/' cpprest/Release/include/cpprest/details/cpprest_compat.h
sed -i 's/new char\[\(fInfo->m_bufsize[^]]*\)\]/new char[static_cast<size_t>(\1)]/
        s/safeCount\.Max(\([^;]*\));/safeCount.Max(static_cast<size_t>(\1));/' \
    cpprest/Release/src/streams/fileio_win32.cpp
# With pieces of a size of our own for a request's body, the first answer that comes in a smaller one would count as whole.
sed -i 's/defaultChunkSize = .*is_default_chunksize();/defaultChunkSize = true;/' \
    cpprest/Release/src/http/client/http_client_winhttp.cpp
grep -q 'defaultChunkSize = true;' cpprest/Release/src/http/client/http_client_winhttp.cpp
cmake -S cpprest/Release -B cpprest-build -G Ninja \
    -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_SYSTEM_VERSION=10 \
    -DCMAKE_C_COMPILER=$target-gcc-posix -DCMAKE_CXX_COMPILER=$target-g++-posix -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_FIND_ROOT_PATH=/usr/$target -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY \
    -DBoost_INCLUDE_DIR=$prefix/boost -DBOOST_ROOT=$prefix/boost \
    -DCPPREST_PPLX_IMPL=winpplx -DCPPREST_HTTP_LISTENER_IMPL=none -DCPPREST_EXCLUDE_WEBSOCKETS=ON \
    -DCPPREST_EXCLUDE_COMPRESSION=ON -DBUILD_SHARED_LIBS=OFF -DBUILD_TESTS=OFF -DBUILD_SAMPLES=OFF -DWERROR=OFF \
    -DCMAKE_CXX_STANDARD=17 -DCMAKE_POLICY_VERSION_MINIMUM=3.5 \
    "-DCMAKE_CXX_FLAGS=-D_NO_ASYNCRTIMP -D_NO_PPLXIMP -Wno-narrowing -w -ffunction-sections -fdata-sections -I$prefix/boost -I$prefix/compat -include $prefix/compat/cpprest_compat.h"
cmake --build cpprest-build
cp -r cpprest/Release/include/{cpprest,pplx} $prefix/include/
find cpprest-build -name 'libcpprest*.a' -exec cp {} $prefix/lib/libcpprest.a \;
test -s $prefix/lib/libcpprest.a

cmake -S /usr/src/googletest -B gtest-build -G Ninja -DCMAKE_SYSTEM_NAME=Windows \
    -DCMAKE_C_COMPILER=$target-gcc-posix -DCMAKE_CXX_COMPILER=$target-g++-posix -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX=$prefix -DINSTALL_GTEST=ON -DCMAKE_CXX_FLAGS=-w
cmake --build gtest-build
cmake --install gtest-build

# Delay-import libraries. Their names go into symbols, so each is made where it stays.
cd $prefix/delay
for dll in $(cat /toolchain/delay-loaded.txt); do
    {
        echo "LIBRARY $dll.dll"
        echo EXPORTS
        $target-nm --defined-only /usr/$target/lib/lib$dll.a 2>/dev/null | sed -n 's/^[0-9a-f]* T //p' | sort -u
    } >$work/$dll.def
    test "$(wc -l <$work/$dll.def)" -gt 2
    $target-dlltool -d $work/$dll.def -y lib$dll.a
done

# What a release tells of what was linked: each source archive with its hash, and licences that no installed package holds.
cd $work
mkdir -p $prefix/licences
cat cpprest/license.txt cpprest/ThirdPartyNotices.txt >$prefix/licences/cpprest
sed -n '1,/^ *\*\/ *$/p' zlib/contrib/minizip/unzip.h >$prefix/licences/minizip
test "$(wc -l <$prefix/licences/minizip)" -gt 20
# In an empty folder: archives that lie there already are not listed.
mkdir listed && cd listed
for source in $(cat /toolchain/sources.txt); do
    apt-get source --print-uris --only-source $source | sed -n "s/^'.*' \(.*\) [0-9]* SHA256:\(.*\)/$source \1 \2/p"
done >$prefix/sources
for source in $(cat /toolchain/sources.txt); do grep -q "^$source .*\.orig\.tar" $prefix/sources; done

cd /
rm -rf $work
