// Makes an operator, its accounts and their users, as an administrator of a broker does.
//   node credentials.js FOLDER     writes broker.conf and NAME.creds for each user
import { writeFileSync } from "node:fs";
import { join } from "node:path";
import {
  createAccount,
  createOperator,
  createUser,
  encodeAccount,
  encodeOperator,
  encodeUser,
  fmtCreds,
} from "nats-jwt";

const folder = process.argv[2];
const unlimited = { subs: -1, data: -1, payload: -1, conn: -1, leaf: -1, imports: -1, exports: -1 };
const write = (name, text) => writeFileSync(join(folder, name), text, { mode: 0o600 });

const operator = createOperator();
const makeAccount = async (name, signer) => {
  const keys = createAccount();
  const options = { limits: { ...unlimited, wildcards: true } };
  return { keys, id: keys.getPublicKey(), jwt: await encodeAccount(name, keys, options, { signer }) };
};

const system = await makeAccount("system", operator);
const fleet = await makeAccount("fleet", operator);
const neighbour = await makeAccount("neighbour", operator);
const stranger = await makeAccount("stranger", createOperator()); // its operator is another one

const operatorJwt = await encodeOperator("kova", operator, { system_account: system.id });
const known = [system, fleet, neighbour].map(({ id, jwt }) => `  ${id}: ${jwt}`);
write(
  "broker.conf",
  `operator: ${operatorJwt}
system_account: ${system.id}
resolver: MEMORY
resolver_preload: {
${known.join("\n")}
}
`,
);

async function makeUser(name, account, permissions = {}, validity = {}) {
  const keys = createUser();
  const jwt = await encodeUser(name, keys, account.keys, permissions, validity);
  write(`${name}.creds`, fmtCreds(jwt, keys));
  return { jwt, keys };
}
const publish = (...allow) => ({ pub: { allow, deny: [] }, sub: { allow: ["_INBOX.>"], deny: [] } });
const now = Math.floor(Date.now() / 1000);
const server = await makeUser("server", fleet, {
  pub: { allow: ["_INBOX.>"], deny: [] },
  sub: { allow: ["kova.device.>", "kova.@c.>"], deny: [] },
});
const client = await makeUser("client", fleet, publish("kova.device.>", "kova.@c.>"));
await makeUser("client_of_light", fleet, publish("kova.light.>", "kova.@c.>"));
await makeUser("neighbour", neighbour);
await makeUser("expired", fleet, {}, { exp: now - 60 });
await makeUser("expires_soon", fleet, {}, { exp: now + 5 });
await makeUser("stranger", stranger);
write("key_of_another_user.creds", fmtCreds(client.jwt, server.keys));
const text = new TextDecoder().decode(fmtCreds(client.jwt, client.keys));
write("without_key.creds", text.slice(0, text.indexOf("-----BEGIN USER NKEY SEED")));
