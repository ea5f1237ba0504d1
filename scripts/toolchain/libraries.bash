# What the programs need and neither musl nor uClibc has, to be sourced: built from Debian's sources with
# $target/bin/cc, installed into $target/root. Each is built in the current, empty folder.

stages=(toolchain crypt headers openssl utf8proc googletest nftables)

# crypt(3), which uClibc has itself, but for a library of that name, and Debian's musl has not.
build_crypt() {
  if [[ $name == arm-uclibc ]]; then
    [[ -e $target/root/usr/lib/libcrypt.a ]] || $tools-ar rc "$target/root/usr/lib/libcrypt.a"
    return
  fi
  debian_source libxcrypt libxcrypt
  cd libxcrypt
  autoreconf -fi
  CC=$target/bin/cc AR=$tools-ar RANLIB=$tools-ranlib NM=$tools-nm CFLAGS="-Os -ffunction-sections -fdata-sections" \
    ./configure --host=arm-linux-musleabihf --prefix=/usr --libdir=/usr/lib --disable-static \
    --disable-obsolete-api --disable-werror --enable-hashes=yescrypt,bcrypt,sha512crypt,sha256crypt,md5crypt
  make -j"$(nproc)" libcrypt.la
  rm -f "$target"/root/usr/lib/libcrypt.a
  cp -P .libs/libcrypt.so* "$target/root/usr/lib/"
  cp crypt.h "$target/root/usr/include/"
}

# An OpenSSL with what a mail client needs; as needed, since ARMv7 has no use for the libatomic that is asked for.
build_openssl() {
  local without=(tests dso engine async dtls srp psk cms ct ts ocsp idea seed camellia aria sm2 sm3 sm4 rc2 rc4
    bf cast md4 mdc2 rmd160 whirlpool blake2 siphash gost dsa srtp ssl3 afalgeng legacy comp ui-console
    secure-memory)
  debian_source openssl openssl
  cd openssl
  CC=$target/bin/cc AR=$tools-ar RANLIB=$tools-ranlib ./Configure linux-armv4 -Os -marm -ffunction-sections \
    -fdata-sections -Wl,--as-needed --prefix=/usr --openssldir=/etc/ssl --libdir=lib "${without[@]/#/no-}"
  make -j"$(nproc)" build_generated
  make -j"$(nproc)" libssl.so libcrypto.so
  cp -P lib{ssl,crypto}.so* "$target/root/usr/lib/"
  cp -r include/openssl "$target/root/usr/include/"
}

with_cmake() {
  cmake -S "$1" -B build -G Ninja --toolchain "$project/cmake/$name.cmake" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_C_FLAGS="-Os -Wno-psabi" -DCMAKE_CXX_FLAGS=-Wno-psabi -DCMAKE_INSTALL_PREFIX=/usr \
    -DCMAKE_INSTALL_LIBDIR=lib "${@:2}"
  DESTDIR=$target/root cmake --build build --target install
}

build_utf8proc() {
  debian_source utf8proc utf8proc
  with_cmake utf8proc -DBUILD_SHARED_LIBS=ON
}

build_googletest() {
  with_cmake /usr/src/googletest -DBUILD_GMOCK=OFF
}

# What is only headers is the same for every C library.
build_headers() {
  debian_unpack_alone armhf all libcli11-dev nlohmann-json3-dev libmnl-dev libnftables-dev
  cp -a all/usr/include/{CLI,nlohmann,libmnl,nftables} "$target/root/usr/include/"
  cp -a all/usr/share/cmake* "$target/root/usr/share/" 2>/dev/null || true
}

# Stand-ins for libmnl and libnftables: each of their functions is there, and ends the program that calls it.
# The gate is so compiled, linked and measured, and serves without --enforce.
build_nftables() {
  local library
  debian_unpack_alone armhf real libmnl0 libnftables1
  for library in real/usr/lib/*/lib{mnl,nftables}.so.?; do
    library=$(basename "$library")
    {
      cat <<'REFUSE'
#include <unistd.h>
#define TEXT(name) #name ": a stand-in\n"
#define STAND_IN(name) \
  void name(void) { _exit(write(2, TEXT(name), sizeof TEXT(name) - 1) < 0 ? 71 : 70); }
REFUSE
      $tools-nm -D --defined-only real/usr/lib/*/"$library" |
        sed -nE 's/.* T ((mnl|nft)_\w+)(@.*)?$/STAND_IN(\1)/p'
    } >"$library.c"
    "$target/bin/cc" -Os -fPIC -shared -Wl,-soname,"$library" -o "$target/root/usr/lib/$library" "$library.c"
    ln -sf "$library" "$target/root/usr/lib/${library%.so.*}.so"
  done
}
