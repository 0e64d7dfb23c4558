"""The parts of tools/fleet: brokers, simulated devices, and what is measured with them."""
