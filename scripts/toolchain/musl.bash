# A C++20 compiler for 32-bit ARM with musl, to be sourced: the C library is Debian's own package, laid
# where a router has it.

build_toolchain() {
  local name=arm-linux-musleabihf root=$target/root
  debian_unpack_alone armhf all musl musl-dev
  mkdir -p "$root"/{lib,usr/include,usr/lib}
  cp -a all/usr/include/$name/. /usr/$tools/include/{linux,asm,asm-generic,mtd} "$root/usr/include/"
  cp -a all/usr/lib/$name/. "$root/usr/lib/"
  find all -type f -name libc.so -exec cp {} "$root/lib/" \;
  ln -sf libc.so "$root/lib/ld-musl-armhf.so.1"
  ln -sf ../../lib/libc.so "$root/usr/lib/libc.so"
  sed "s#/usr/include/$name#$root/usr/include#g; s#/usr/lib/$name#$root/usr/lib#g" \
    "$root/usr/lib/musl-gcc.specs" >"$target/specs"
  write_compilers $name
  build_libstdcxx $name
}
