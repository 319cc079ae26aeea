(* The settings of a server. Comments may contain comments (* such as this one *). *)
server(
    host(example)
    port:Ushort(8080)
    banner('Welcome, "friends"' " (and others)")
    paths(:dir(a) :dir(b))
    limits(max(10) min(1))
    empty()
)
