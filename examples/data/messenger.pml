(* The settings of the messenger. *)
messenger(
    heartbeat(100)       (* milliseconds *)
    rounds(40)           (* the number of times that the demo sends the transcript *)
    socketBuffer(65536)  (* bytes *)
    log(maxFileSize(256) maxFileCount(4))  (* KiB, files *)
    QOR(infoOn(true) debugOn(true) appLogs:map(MSG.DEBUG(true)))
    qor(infoOn(true) debugOn(false))
)
