# Builds the virtual machine: a Debian root tree as a raw image, kernel and initrd. The folder is
# named after what it is made of, so a change here makes a new one.
#   image.sh FOLDER
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
folder=$1
work=$folder.tmp
rm -rf "$work"
mkdir -p "$work"
root=$work/root

kernel_package=$(apt-cache depends linux-image-amd64 | sed -n 's/^ *Depends: *\(linux-image-[0-9].*\)/\1/p' | head -1)
kernel=${kernel_package#linux-image-}

fetch() { # package → unpacked folder
    local package=$1 to=$2
    mkdir -p "$work/debs" "$to"
    (cd "$work/debs" && apt-get download -qq "$package" 2>/dev/null)
    dpkg-deb -x "$work"/debs/"${package}"_*.deb "$to"
}

make_root() {
    # shellcheck disable=SC2046
    mmdebstrap --variant=minbase --include="$(tr -s ' \n' ',' <"$here/packages.txt" | sed 's/,$//')" \
        --aptopt='APT::Install-Recommends "false"' --skip=check/empty bookworm "$root" \
        /etc/apt/sources.list.d/debian.sources
}

# chrony's package conflicts with the guest's own time client: only its daemon is unpacked.
add_chrony() {
    fetch chrony "$work/chrony"
    mkdir -p "$root/opt/chrony"
    cp "$work/chrony/usr/sbin/chronyd" "$work/chrony/usr/bin/chronyc" "$root/opt/chrony/"
}

add_kernel() {
    fetch "$kernel_package" "$work/kernel"
    cp "$work"/kernel/boot/vmlinuz-* "$work/vmlinuz"
    cp -a "$work/kernel/lib/modules" "$root/lib/"
    chroot "$root" depmod "$kernel"
}

# Loads the disk's drivers and switches to the root file system.
make_initrd() {
    local tree=$work/initrd modules=$work/kernel/lib/modules/$kernel/kernel
    mkdir -p "$tree"/{bin,dev,proc,sys,root,modules}
    cp "$(command -v busybox)" "$tree/bin/busybox"
    local list="virtio_ring virtio virtio_pci_legacy_dev virtio_pci_modern_dev virtio_pci virtio_blk
        crc16 crc32c_generic libcrc32c mbcache jbd2 ext4" name path
    for name in $list; do
        path=$(find "$modules" -name "$name.ko" | head -1)
        [ -n "$path" ] || continue
        cp "$path" "$tree/modules/$name.ko"
        echo "$name" >>"$tree/modules/order"
    done
    cp "$here/init" "$tree/init"
    chmod +x "$tree/init"
    (cd "$tree" && find . | cpio -o -H newc --quiet | gzip -1) >"$work/initrd.gz"
}

configure() {
    echo robot >"$root/etc/hostname"
    printf '127.0.0.1 localhost robot\n' >"$root/etc/hosts"
    passwd -R "$root" -d root >/dev/null 2>&1 || chroot "$root" passwd -d root >/dev/null
    printf 'en_US.UTF-8 UTF-8\nzh_CN.UTF-8 UTF-8\n' >"$root/etc/locale.gen"
    chroot "$root" locale-gen >/dev/null
    echo 'root ALL=(ALL:ALL) NOPASSWD: ALL' >"$root/etc/sudoers.d/root"
    cp -a "$here/guest/." "$root/"
    chmod 600 "$root"/etc/NetworkManager/system-connections/* 2>/dev/null || true
    chmod +x "$root"/usr/local/lib/ky/*
    : >"$root/etc/machine-id"
    chroot "$root" systemctl enable -q ky-machine.service
    chroot "$root" systemctl mask -q hostapd.service systemd-networkd.service 2>/dev/null
}

make_root
add_chrony
add_kernel
make_initrd
configure
mke2fs -q -t ext4 -d "$root" -L root "$work/root.img" 3G
echo "$kernel" >"$work/kernel-version"
rm -rf "$root" "$work/debs" "$work/kernel" "$work/chrony" "$work/initrd"
mv "$work" "$folder"
