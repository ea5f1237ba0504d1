# What an OpenWrt build tree's rules.mk gives a package's Makefile, as far as ours asks for it.
INCLUDE_DIR:=$(TOPDIR)
INSTALL_DIR:=install -d -m0755
INSTALL_BIN:=install -m0755
INSTALL_DATA:=install -m0644
CP:=cp -fpR
