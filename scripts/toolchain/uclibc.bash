# A C++20 compiler for 32-bit ARM with uClibc-ng, to be sourced.

# What gcc takes instead of its own C library below root $1. The empty ones name what glibc's have more.
uclibc_specs() {
  local root=$1 own
  own=$($tools-gcc -print-file-name=include)
  cat <<SPECS
%rename cpp_options old_cpp_options

*cpp_options:
-nostdinc -isystem $root/usr/include -isystem $own %(old_cpp_options)

%rename cc1 old_cc1

*cc1:
%(old_cc1) -nostdinc -isystem $root/usr/include -isystem $own

*link_libgcc:
-L$root/usr/lib -L$root/lib -L .%s

*libgcc:
libgcc.a%s libgcc_eh.a%s

*startfile:
%{!shared: $root/usr/lib/crt1.o} $root/usr/lib/crti.o %{shared:crtbeginS.o%s;:crtbegin.o%s}

*endfile:
%{shared:crtendS.o%s;:crtend.o%s} $root/usr/lib/crtn.o

*link:
-dynamic-linker /lib/ld-uClibc.so.1 -nostdlib %{shared:-shared} %{static:-static} \
%{rdynamic:-export-dynamic} -X --hash-style=gnu -m armelf_linux_eabi -z noexecstack

*lib:
%{pthread:-lpthread} -lc %{!shared:$root/usr/lib/uclibc_nonshared.a}

*esp_link:


*esp_options:


*esp_cpp_options:


SPECS
}

build_toolchain() {
  local root=$target/root
  debian_unpack_alone amd64 fetched uclibc-source
  tar xf fetched/usr/src/uClibc-ng-*.tar.xz
  mkdir -p headers "$root/usr/include"
  cp -a /usr/$tools/include/{linux,asm,asm-generic,mtd} headers/
  (
    cd uClibc-ng-*/
    sed "s#^KERNEL_HEADERS=.*#KERNEL_HEADERS=\"${PWD%/*}/headers\"#" \
      "$project/scripts/toolchain/uclibc.config" >.config
    make ARCH=arm olddefconfig
    make ARCH=arm -j"$(nproc)"
    make ARCH=arm PREFIX="$root" install
  )
  sed -i 's#/usr/lib/\|/lib/##g' "$root/usr/lib/libc.so" # a linker script: found below the root by name
  cp -an headers/* "$root/usr/include/"
  uclibc_specs "$root" >"$target/specs"
  write_compilers arm-linux-uclibcgnueabihf
  build_libstdcxx arm-linux-uclibcgnueabihf
}
