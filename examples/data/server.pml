(* The settings of a server. Comments nest: (* as this one does *), and may stand anywhere. *)
server(
    host(example)
    port:Ushort(8080)
    banner('Welcome, "friends"' " (and others)")
    paths(:dir(a) :dir(b))
    limits(max(10) min(1))
    empty()
)
