"""What tools/fleet measures: each function returns figures of brokers that it has started."""
import ssl
import subprocess
import time
from statistics import median

from fleetlib.broker import HOST, Broker, free_port
from fleetlib.devices import Fleet, Relay

# The subscriptions of a device; see devices.subjects_of.
SUBSCRIPTIONS = 4
# The seconds for which a broker is down before a storm.
DOWN = 2
# The seconds in which one broker hears of the latest subscriptions at another one.
SETTLE = 1
# The seconds between two pings to a device, and the number of pings of a measurement.
PING_INTERVAL, PINGS = 2, 5
# The searches for all devices of a measurement.
SEARCHES = 5


class Delta:
    """What a broker uses more since the object was made, for each of `count` devices."""

    def __init__(self, broker, count):
        self._broker, self._count = broker, count
        self._memory, self._cpu = broker.memory(), broker.cpu()

    def cpu(self):
        return (self._broker.cpu() - self._cpu) / self._count

    def memory(self):
        return [(now - then) / self._count for now, then in zip(self._broker.memory(), self._memory)]


def connections(count, subscriptions, rounds, configuration="", context=None):
    """Returns per device: live and resident bytes of the broker, and its processor seconds to connect.

    Each round has a broker of its own; the results are medians.
    """
    figures = []
    for _ in range(rounds):
        with Broker(configuration) as broker, Fleet() as fleet:
            delta = Delta(broker, count)
            fleet.connect(broker.port, count, subscriptions, context)
            cpu = delta.cpu()
            figures.append((*delta.memory(), cpu))
    return [median(figure) for figure in zip(*figures)]


def requests(count, rounds):
    """Returns the broker's processor seconds for a first request to a device and for a later one (each
    with its answer), its live and resident bytes per device afterwards, and its processor seconds per
    device for a search for all devices."""
    figures = []
    for _ in range(rounds):
        with Broker() as broker, Fleet() as fleet:
            delta = Delta(broker, count)
            fleet.connect(broker.port, count, SUBSCRIPTIONS)
            first = cpu_of_requests(fleet, broker, count)
            later = cpu_of_requests(fleet, broker, max(5 * count, 20000))
            memory = delta.memory()
            figures.append((first, later, *memory, cpu_of_searches(fleet, broker)))
    return [median(figure) for figure in zip(*figures)]


def cpu_of_requests(fleet, broker, number):
    cpu = broker.cpu()
    fleet.request(broker.port, number)
    return (broker.cpu() - cpu) / number


def cpu_of_searches(fleet, broker):
    cpu = broker.cpu()
    fleet.search(broker.port, SEARCHES)
    return (broker.cpu() - cpu) / (SEARCHES * len(fleet.devices))


def storm(count):
    """Kills and restarts a broker; returns the seconds until all devices are subscribed again, and the
    attempts to connect and the broker's processor seconds per device."""
    with Broker() as broker, Fleet() as fleet:
        fleet.connect(broker.port, count, SUBSCRIPTIONS)
        before = sum(device.attempts for device in fleet.devices)
        broker.stop()
        fleet.run(lambda: fleet.ready == 0)
        fleet.run_for(DOWN)
        broker.start()
        begin, cpu = time.monotonic(), broker.cpu()
        fleet.run(lambda: fleet.ready == count)
        attempts = sum(device.attempts for device in fleet.devices) - before
        return time.monotonic() - begin, attempts / count, (broker.cpu() - cpu) / count


def idle(count):
    """Returns the broker's processor seconds per device for a ping and its answer."""
    with Broker(f'ping_interval: "{PING_INTERVAL}s"') as broker, Fleet() as fleet:
        fleet.connect(broker.port, count, SUBSCRIPTIONS)
        fleet.run_for(PING_INTERVAL)
        cpu, pings = broker.cpu(), fleet.pings
        fleet.run(lambda: fleet.pings >= pings + PINGS * count)
        return (broker.cpu() - cpu) / (fleet.pings - pings)


def tls(count, folder):
    """Returns what `connections` returns, with TLS 1.3 and a certificate with a P-256 key.

    Makes the certificate in the folder.
    """
    certificate, key = folder / "certificate.pem", folder / "key.pem"
    if not key.exists():
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                        "ec_paramgen_curve:P-256", "-nodes", "-days", "2", "-subj", "/CN=fleet",
                        "-addext", f"subjectAltName=IP:{HOST}", "-out", certificate, "-keyout", key],
                       check=True, capture_output=True)
    context = ssl.create_default_context(cafile=certificate)
    context.check_hostname = False  # all devices know this one certificate
    return connections(
        count, SUBSCRIPTIONS, 1,
        f'tls {{ cert_file: "{certificate}", key_file: "{key}", timeout: 30 }}', context)


def leaf(count, account="", expected=2):
    """Connects devices to a leaf node, and a client to its hub. Returns a dictionary of figures.

    `account` is a part of the configuration of the leaf node; see `wildcard`. The hub has to know
    `expected` subjects of each device: the devices share those of requests to any server and of searches.
    """
    port = free_port()
    with Broker(f'leafnodes {{ listen: "{HOST}:{port}" }}') as hub, Fleet() as fleet:
        relay = Relay(fleet, port)
        remote = f'url: "nats://{HOST}:{relay.port}"' + (", account: UPLINK" if account else "")
        with Broker(account + f"\nleafnodes {{ remotes: [ {{ {remote} }} ] }}") as edge:
            fleet.run(lambda: subscriptions_of_leaf(hub) > 0)  # those that the leaf node itself makes
            fleet.run_for(SETTLE)
            known = subscriptions_of_leaf(hub)
            before, delta = relay.bytes["out"], Delta(hub, count)
            fleet.connect(edge.port, count, SUBSCRIPTIONS)
            fleet.run(lambda: subscriptions_of_leaf(hub) >= known + expected * count)
            fleet.run_for(SETTLE)
            figures = {"bytes": (relay.bytes["out"] - before) / count, "cpu": delta.cpu()}
            figures["live"], figures["resident"] = delta.memory()
            figures["subscriptions"] = (subscriptions_of_leaf(hub) - known) / count
            figures.update(across(fleet, hub, edge, count))
            return figures


def wildcard(count):
    """Is `leaf` with the devices in an account of their own, whose subjects the account of the link
    imports with one wildcard."""
    return leaf(count, '''
accounts {
    DEVICES {
        users: [ { user: device, password: device } ]
        exports: [ { service: "kova.>", response_type: Stream } ]
    }
    UPLINK { imports: [ { service: { account: DEVICES, subject: "kova.>" } } ] }
}
no_auth_user: device''', expected=0)


def subscriptions_of_leaf(hub):
    """Returns the number of subjects that a hub knows of its only leaf node; 0 while there is none."""
    leafs = hub.report("leafz").get("leafs") or [{"subscriptions": 0}]
    return leafs[0]["subscriptions"]


def gateway(count):
    """Connects devices to one cluster, and a client to another one behind a gateway."""
    ports = {"EDGE": free_port(), "HUB": free_port()}

    def configuration(name):
        gateways = ", ".join(f'{{ name: "{other}", url: "nats://{HOST}:{port}" }}'
                             for other, port in ports.items())
        return f'gateway {{ name: "{name}", listen: "{HOST}:{ports[name]}", gateways: [ {gateways} ] }}'

    with Broker(configuration("HUB")) as hub, Broker(configuration("EDGE")) as edge, Fleet() as fleet:
        fleet.run(lambda: hub.report("gatewayz")["outbound_gateways"]
                  and edge.report("gatewayz")["outbound_gateways"])
        delta = Delta(hub, count)
        fleet.connect(edge.port, count, SUBSCRIPTIONS)
        fleet.run_for(SETTLE)
        figures = {"cpu": delta.cpu()}
        figures["live"], figures["resident"] = delta.memory()
        figures.update(across(fleet, hub, edge, count))
        return figures


def across(fleet, hub, edge, count):
    """Sends requests from a client at one broker to devices at another one."""
    fleet.request(hub.port, count)
    number = max(2 * count, 10000)
    begin = [broker.cpu() for broker in (hub, edge)]
    fleet.request(hub.port, number)
    spent = [(broker.cpu() - cpu) / number for broker, cpu in zip((hub, edge), begin)]
    return {"hub request": spent[0], "edge request": spent[1],
            "unknown": "at once" if fleet.refuses(hub.port) else "not refused"}
