@0xb8c1f0d2a96e4e35;

$import "/capnp/c++.capnp".namespace("capnp_wire");

interface Receiver {
  next @0 (value :Data) -> stream;
}

interface Resource {
  retrieve @0 (value :Data) -> (value :Data);
  watch @1 (receiver :Receiver, count :UInt32);
}
