(* The switches of a logger. What is not here stays as it is. *)
logger(
    debugOn(true)
    traceOn(true)
    appLogs:map(PUMP.DEBUG(true) VALVE.DEBUG(false))
)
