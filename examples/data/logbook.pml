(* The switches of a logger. Switches that are not in this file are unchanged. *)
logger(
    debugOn(true)
    traceOn(true)
    appLogs:map(PUMP.DEBUG(true) VALVE.DEBUG(false))
)
