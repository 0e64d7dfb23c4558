// A client of the services protocol that is not kova's: prints what it learns of the services at a broker.
//   node services.js URL SUBJECT     SUBJECT is that of an endpoint, which gets a text that is no request
import { connect, StringCodec } from "nats";

const [url, subject] = process.argv.slice(2);
const connection = await connect({ servers: url });
const client = connection.services.client();

async function collect(answers) {
  const all = [];
  for await (const answer of answers) {
    all.push(answer);
  }
  return all;
}

const refusal = await connection.request(subject, StringCodec().encode("hello"));
console.log(
  "refused",
  refusal.headers.get("Nats-Service-Error-Code"),
  refusal.headers.get("Nats-Service-Error"),
);
for (const { type, name, version, metadata } of await collect(await client.ping())) {
  console.log(type, name, version, metadata.service_path, metadata.instance);
}
const [{ id }] = await collect(await client.ping("device"));
for (const { description, endpoints } of await collect(await client.info("device", id))) {
  console.log(description);
  for (const { name, subject, queue_group } of endpoints) {
    console.log(name, subject, queue_group);
  }
}
for (const { started, endpoints } of await collect(await client.stats("device"))) {
  console.log(Math.abs(Date.now() - Date.parse(started)) < 600_000);
  for (const each of endpoints) {
    console.log(
      each.num_requests,
      each.num_errors,
      each.last_error,
      each.processing_time > 0,
      each.average_processing_time > 0,
    );
  }
}
try {
  await collect(await client.ping("other"));
} catch (error) {
  console.log("other", error.code);
}
await connection.close();
