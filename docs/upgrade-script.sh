#!/bin/sh
# How the upgrade script of the package calls the upgrade: after the files of the new build are in place, before any
# service starts.
#
#   upgrade-script.sh OLD-VERSION       the version that was installed before, as "8.2.4-6479"
#
# Services are started whatever it ends with: a recorder that records with one setting less is better than none.
set -e

old=$1
build=${old##*-}  # 6479
status=0

# Anything else would be taken for a build from which every migration is due.
case $build in
'' | *[!0-9]*)
    echo "upgrade-script.sh: there is no build number at the end of [$old]; nothing was upgraded." >&2
    exit 1
    ;;
esac

# A snapshot to go back to. An earlier try has taken the name already: then the time is the name. An upgrade without a
# snapshot is still better than none: a full disk must not stop it.
vgupgradectl snapshot "before-$build" || vgupgradectl snapshot ||
    echo "No snapshot was taken; the upgrade goes on." >&2
vgupgradectl forget --keep 3 ||
    echo "Old snapshots stay." >&2

# With `set -e` a status must be caught where it arises.
vgupgrader "$build" || status=$?

if [ "$status" -ne 0 ]; then
    # Says which migrations failed, and the command to type next; its own status is 2 then.
    vgupgradectl status >&2 || true
fi
exit "$status"
