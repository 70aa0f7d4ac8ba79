# Shared by the stand-ins for the board's programs. A test or the demo asks a
# program to fail or to hang by naming it:
#   OXGW_BOARD_FAIL="saveparams restoreparams"   exit with code 3
#   OXGW_BOARD_HANG="saveparams"                 sleep 30 s first
# Every call is appended to $OXGW_ROOT/var/log/board.log, so a test can see
# what was run with which arguments.
board_prog=$(basename "$0")
root=${OXGW_ROOT:-}
[ -n "$root" ] && mkdir -p "$root/var/log" 2>/dev/null
[ -n "$root" ] && echo "$board_prog $*" >>"$root/var/log/board.log" 2>/dev/null
case " ${OXGW_BOARD_HANG:-} " in *" $board_prog "*) sleep 30 ;; esac
case " ${OXGW_BOARD_FAIL:-} " in *" $board_prog "*) echo "$board_prog: failing on request" >&2; exit 3 ;; esac
