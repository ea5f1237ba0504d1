# A C++20 compiler for 32-bit ARM with musl, to be sourced: the C library is Debian's own package.

build_toolchain() {
  local name=arm-linux-musleabihf root=$target/root
  debian_unpack_alone armhf "$root" musl musl-dev
  cp -an /usr/$tools/include/{linux,asm,asm-generic,mtd} "$root/usr/include/$name/"
  ln -sfn ../../../lib/$name/libc.so "$root/usr/lib/$name/libc.so"
  sed "s#/usr/include/$name#$root/usr/include/$name#g; s#/usr/lib/$name#$root/usr/lib/$name#g" \
    "$root/usr/lib/$name/musl-gcc.specs" >"$target/specs"
  write_compilers $name
  build_libstdcxx $name
}
