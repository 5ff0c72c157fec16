# The library shows its interface and nothing of its own helpers, and of the two host libraries it
# uses the contract alone: an integrator's own two libraries have nothing else.
set -euo pipefail
lib=$PREFIX/$LIBDIR
fail() {
    echo "$1" >&2
    exit 1
}

for name in KyNetwork KyCore KySqlite; do
    objdump -p "$lib/lib$name.so" | grep -q "SONAME *lib$name.so.1$" || fail "SONAME of lib$name"
    helpers=$(nm -DC --defined-only "$lib/lib$name.so" |
        grep -E '^[0-9a-f]+ [A-Za-z] ([a-z ]+ for )?ky::' || true)
    [ -z "$helpers" ] || fail "lib$name.so exports helpers: $helpers"
done

# What the host libraries define and the library leaves open.
used=$(comm -12 <(nm -D --defined-only "$lib/libKyCore.so" "$lib/libKySqlite.so" |
    awk 'NF >= 3 { print $3 }' | sort -u) \
    <(nm -D --undefined-only "$lib/libKyNetwork.so" | awk '{ print $2 }' | sort -u) | c++filt)
[ -n "$used" ] || fail "the library uses nothing of the host: the comparison sees nothing"

operations='BaseObject::(BaseObject|~BaseObject|setLastError|getLastError)\(
BaseThread::(BaseThread|~BaseThread|setNeedStop|isNeedStop|setResult|result|stopThread)\(
Base(Object|Thread)::(staticMetaObject|qt_metacall|qt_metacast|metaObject)
(typeinfo|vtable|typeinfo name) for Base(Object|Thread)$
PublicClass::(init|processCmd|cmdHalSh|waitSTime|getJsonVariant|qVariantToByteArray|isJson|writeJsonFile|readIni|writeIni|remakePath|getMask1Bits)\(
KyFileManager::(init|hasExecutePermission|readJsonFile|writeJsonFile)\(
SqliteClass::(init|commandInt|commandString|getErrorCommandValue|getLastError)\(
HttpApi::(init|getUrl|getReq)\('
beyond=$(grep -vE "^($(tr '\n' '|' <<<"$operations"))" <<<"$used" || true)
[ -z "$beyond" ] || fail "beyond the contract: $beyond"
echo "$(wc -l <<<"$used") symbols of the host in use"
