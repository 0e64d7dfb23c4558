@0xb7d3f6c1a52e9084;

$import "/capnp/c++.capnp".namespace("capnp_bench");

interface Resource {
  retrieve @0 (path :Text) -> (status :UInt16);
}
