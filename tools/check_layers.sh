#!/usr/bin/env bash
# The include layers of src/ and kernel/: a file may include headers of its own folder, of
# folders on a lower layer, and of the peers on its own layer that the table below allows;
# nothing from a layer above. tools/ and tests/ are not checked.
#
#   tools/check_layers.sh            checks; exit 1 and one line per offending include
#   tools/check_layers.sh --graph    prints which folder includes which (with counts)
#
# An include is named by its first path part ("channel/request.h" is in channel/); one
# without a folder ("text.h") is a header of the including file's own folder.
set -euo pipefail
cd "$(dirname "$0")/.."

# The layers, bottom to top. A folder that does not exist yet is simply listed.
#   folder      layer
LAYERS="
  platform    0
  text        0
  protocol    0
  channel     1
  values      1
  translator  2
  tui         2
  client      3
  catalog     4
  editor      4
  debugger    4
  shell       5
"

# Includes allowed between peers of one layer (including folder, included folder). Text and
# protocol include nothing of the project; the platform layer draws CP866 cells through the
# text coder and its channel transports read frames through the protocol's layouts. The editor sits below the
# catalogue, which opens texts in it, and below the debugger, which marks lines in it; the
# debugger runs procedures through the catalogue's parameter dialog.
PEERS="
  platform  text
  platform  protocol
  catalog   editor
  debugger  editor
  debugger  catalog
"

# The reference kernel is not a layer of the manager: it stands on the translator and the
# protocol and never reaches the user interface or the manager's subsystems.
KERNEL_MAY_INCLUDE="platform text channel protocol values translator"

# Known exceptions, each "file included-header", left until the branch that removes them is
# merged. Keep this list short and empty it as they go.
EXCEPTIONS=""

# Every quoted include of src/ and kernel/ as "file<TAB>line<TAB>from-folder<TAB>header<TAB>to-folder".
list_includes() {
  find src kernel -type f \( -name '*.cpp' -o -name '*.h' \) | LC_ALL=C sort |
    while IFS= read -r file; do
      awk -v file="$file" '
        BEGIN {
          n = split(file, part, "/")
          from = (part[1] == "kernel") ? "kernel" : part[2]
        }
        /^[ \t]*#[ \t]*include[ \t]*"/ {
          header = $0
          sub(/^[^"]*"/, "", header)
          sub(/".*$/, "", header)
          to = (index(header, "/") > 0) ? substr(header, 1, index(header, "/") - 1) : from
          printf "%s\t%d\t%s\t%s\t%s\n", file, FNR, from, header, to
        }' "$file"
    done
}

if [[ "${1:-}" == "--graph" ]]; then
  list_includes | awk -F'\t' '$3 != $5 { count[$3 " -> " $5]++ }
    END { for (edge in count) printf "%-24s %d\n", edge, count[edge] }' | LC_ALL=C sort
  exit 0
elif [[ -n "${1:-}" ]]; then
  echo "usage: tools/check_layers.sh [--graph]" >&2
  exit 2
fi

includes=$(list_includes)

# An exception whose include is gone is named, so that the list gets emptied.
while read -r file header; do
  [[ -z "$file" ]] && continue
  if ! awk -F'\t' -v f="$file" -v h="$header" '$1 == f && $4 == h { found = 1 } END { exit !found }' \
       <<< "$includes"; then
    echo "check_layers: the exception \"$file $header\" is no longer needed; remove it" >&2
  fi
done <<< "$EXCEPTIONS"

violations=$(awk -F'\t' \
  -v layers="$LAYERS" -v peers="$PEERS" -v kernel_may="$KERNEL_MAY_INCLUDE" \
  -v exceptions="$EXCEPTIONS" '
  BEGIN {
    n = split(layers, w, /[ \t\n]+/)
    for (i = 1; i < n; i++) if (w[i] != "") { layer[w[i]] = w[i + 1]; i++ }
    n = split(peers, w, /[ \t\n]+/)
    for (i = 1; i < n; i++) if (w[i] != "") { peer[w[i] " " w[i + 1]] = 1; i++ }
    n = split(kernel_may, w, /[ \t\n]+/)
    for (i = 1; i <= n; i++) if (w[i] != "") kernel_ok[w[i]] = 1
    n = split(exceptions, w, /[ \t\n]+/)
    for (i = 1; i < n; i++) if (w[i] != "") { excepted[w[i] " " w[i + 1]] = 1; i++ }
  }
  {
    file = $1; line = $2; from = $3; header = $4; to = $5
    if (from == to || (file " " header) in excepted) next
    if (from == "kernel") {
      if (!(to in kernel_ok))
        printf "%s:%d: includes %s: the kernel may include only %s\n", file, line, header, kernel_may
      next
    }
    if (!(from in layer)) {
      printf "%s:%d: folder src/%s/ is not in the layer table of tools/check_layers.sh\n", file, line, from
      next
    }
    if (!(to in layer)) {
      printf "%s:%d: includes %s, which is in no layer\n", file, line, header
      next
    }
    if (layer[to] < layer[from] || (from " " to) in peer) next
    if (layer[to] == layer[from])
      printf "%s:%d: includes %s: %s/ and %s/ are peers on layer %d, and %s/ may not include %s/\n",
             file, line, header, from, to, layer[from], from, to
    else
      printf "%s:%d: includes %s: %s/ is on layer %d, above %s/ on layer %d\n",
             file, line, header, to, layer[to], from, layer[from]
  }' <<< "$includes")

if [[ -n "$violations" ]]; then
  echo "$violations"
  echo "check_layers: $(wc -l <<< "$violations") include(s) reach above their layer" \
       "(order bottom to top: platform, text | channel, protocol, values | translator, tui |" \
       "client | catalog, editor, debugger | shell)" >&2
  exit 1
fi
echo "check_layers: every include of src/ and kernel/ keeps to its layer"
