#!/bin/sh
# Each layer may include only the layers above it in this list; the command line and the program
# entry points sit on top of them all.
src=${1:?usage: layering.sh SRC_DIR}
order="foundation database mailhost engine spam services intake ui cli app"
status=0
allowed=""
for layer in $order; do
    allowed="$allowed $layer"
    [ -d "$src/$layer" ] || continue
    for included in $(grep -rhoE '#include "[a-z]+/' "$src/$layer" | sed -E 's/#include "([a-z]+)\//\1/' | sort -u); do
        case " $allowed " in
            *" $included "*) ;;
            *) echo "layering: $layer includes $included, a layer below it"; status=1 ;;
        esac
    done
done
[ $status -eq 0 ] && echo "layering: every layer includes only layers above it"
exit $status
