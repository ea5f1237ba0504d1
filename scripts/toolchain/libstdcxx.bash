# A C++ library of the cross compiler's own version for another C library, to be sourced. The compiler is
# Debian's g++-arm-linux-gnueabihf; only what it takes for headers, start files and libraries is another.
# Callers name in $target the folder that all is made in; $target/root is the router's root.

tools=arm-linux-gnueabihf

# The wrappers $target/bin/cc and c++, once a specs file $target/specs names the C library.
write_compilers() {
  local triplet=$1 version
  version=$($tools-gcc -dumpversion)
  mkdir -p "$target/bin"
  cat >"$target/bin/cc" <<WRAPPER
#!/bin/sh
exec $tools-gcc -specs=$target/specs -fno-pie -no-pie "\$@"
WRAPPER
  cat >"$target/bin/c++" <<WRAPPER
#!/bin/sh
exec $tools-g++ -nostdinc++ -isystem $target/root/usr/include/c++/$version \
  -isystem $target/root/usr/include/c++/$version/$triplet -specs=$target/specs -fno-pie -no-pie \
  -L$target/root/usr/lib -static-libstdc++ -static-libgcc "\$@"
WRAPPER
  chmod +x "$target"/bin/{cc,c++}
}

# Builds and installs it for the system that $1 names, in the current, empty folder.
build_libstdcxx() {
  local triplet=$1 version small="-Os -ffunction-sections -fdata-sections" source
  version=$($tools-gcc -dumpversion)
  debian_unpack_alone amd64 fetched "gcc-$version-source"
  tar xf fetched/usr/src/gcc-"$version"/gcc-"$version"*.tar.xz --wildcards '*/libstdc++-v3' '*/libgcc' \
    '*/config' '*/include' '*/libiberty' '*/ltmain.sh' '*/config*' '*/*.m4' '*/install-sh' '*/missing' \
    '*/mkinstalldirs' '*/move-if-change' '*/depcomp' '*/libtool*' '*/gcc/DATESTAMP' '*/gcc/BASE-VER'
  rm -rf fetched
  source=$(echo "$PWD"/gcc-*/)
  ln -s gthr-posix.h "$source/libgcc/gthr-default.h"
  mkdir build
  cd build
  # CXX is the C driver: the C++ one would add the other library's -lstdc++ to each of configure's tries,
  # and whatever needs a link would be found missing.
  "$source/libstdc++-v3/configure" --build=x86_64-linux-gnu --host="$triplet" --target="$triplet" \
    --prefix="$target/root/usr" --with-gxx-include-dir="$target/root/usr/include/c++/$version" \
    --disable-multilib --disable-nls --disable-shared --disable-libstdcxx-pch \
    --disable-libstdcxx-verbose --enable-clocale=generic CC="$target/bin/cc" \
    CXX="$target/bin/cc -nostdinc++" CFLAGS="$small" CXXFLAGS="$small" \
    AR=$tools-ar RANLIB=$tools-ranlib NM=$tools-nm STRIP=$tools-strip
  make -j"$(nproc)"
  make install
}
