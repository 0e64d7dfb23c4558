// The page of an endpoint: it shows services to a person. Texts of services and users become text
// nodes, never HTML.
'use strict';

const byId = id => document.getElementById(id);
const tree = byId('tree');
const METHODS = {retrieve: 'GET', update: 'PUT', insert: 'POST', delete: 'DELETE'};
const WORDS = {retrieve: 'get', update: 'put'};
const POINTS = 240; // values that a chart shows
const ENTRIES = 50; // values that a log shows
const ROWS = 200; // elements of an array, object or table that are shown
const NODES = 3000; // parts of one value that are shown
const TEXT = 1000; // characters of a watched value that are shown
const VALUE_SIZE = 16384; // characters of the largest watched value that is kept whole
const WATCH_SIZE = 131072; // characters of the values that are kept of one watched resource
const FIELDS = 200; // fields that a form gets at once
const EDITED = 1e5; // characters of a value that is edited
const DEPTH = 8; // levels of fields
const LOAD_LIMIT = 5000;
const LOADS = 4; // services that are asked at once: a browser has six connections
const BEAT_INTERVAL = 3000;
const COLUMNS = 50; // columns of a table
const MOST_WATCHES = 128; // paths that a stream of the endpoint watches
const RETRY_INTERVAL = 2000;
const POLL_INTERVAL = 2000;
const reading = new Set(); // the aborts of the reads that the current view shows

// Returns an element with properties or attributes (or a class), and children. Strings become text nodes.
function el(tag, props, ...children) {
  const node = document.createElement(tag);
  for (const [key, value] of Object.entries(typeof props === 'string' ? {className: props} : props || {})) {
    if (key in node) node[key] = value; else node.setAttribute(key, value);
  }
  node.append(...children.filter(child => child !== undefined));
  return node;
}
const hint = text => el('p', 'hint', text);
const bdi = text => el('bdi', {}, text);
const buttons = (...children) => el('div', 'buttons', ...children);
const panel = (...children) => el('div', 'panel', ...children);
const group = (label, ...children) => el('fieldset', {}, el('legend', {}, bdi(label)), ...children);
const details = (label, ...children) => el('details', {}, el('summary', {}, label), ...children);
const alertOf = props => el('p', {className: 'reason', role: 'alert', hidden: true, ...props});
const h3 = text => el('h3', {}, text);
const optionsOf = texts => texts.map((text, i) => el('option', {value: String(i)}, String(text)));
const button = (label, onclick, props) => el('button', {type: 'button', onclick, ...props}, label);
const cell = value => el('td', {}, typeof value === 'object' ? value : bdi(String(value)));
function table(heads, rows) {
  return el('div', {className: 'wide', tabIndex: 0, role: 'region', ariaLabel: 'Table'}, el('table', {},
    el('thead', {}, el('tr', {}, ...heads.map(head => el('th', {scope: 'col'}, bdi(head))))),
    el('tbody', {}, ...rows.map(row => el('tr', {}, ...row.map(cell))))));
}
// Returns a function that shows rows. Rows with the same key are changed in place: focus and selection stay.
function liveTable(place, heads, keyOf, cellsOf, nothing) {
  const none = hint(nothing);
  const node = table(heads, []), body = node.querySelector('tbody'), rest = more(0);
  let known = new Map();
  place.replaceChildren(none, node, rest);
  return all => {
    const rows = new Map();
    for (const each of all.slice(0, ROWS)) {
      let key = keyOf(each);
      while (rows.has(key)) key += ' ';
      const cells = cellsOf(each), row = known.get(key) || el('tr', {}, ...cells.map(() => cell('')));
      rows.set(key, row);
      known.delete(key);
      cells.forEach((text, i) => setText(row.cells[i].firstChild, String(text)));
    }
    for (const row of known.values()) row.remove();
    known = rows;
    [...rows.values()].forEach((row, i) => { if (body.rows[i] !== row) body.insertBefore(row, body.rows[i] || null); });
    none.hidden = all.length > 0;
    node.hidden = !all.length;
    rest.textContent = more(all.length - ROWS).textContent;
  };
}
function setStatus(node, isGood, text) {
  node.textContent = text;
  node.className = isGood ? '' : 'bad';
}
function setText(node, text) {
  if (!node.firstChild) node.append('');
  if (node.firstChild.data !== text) node.firstChild.data = text;
}

// --- Values ---

// Parses JSON. Integers beyond 2^53 become BigInt, so no digit is lost.
function parseJson(text) {
  if (!/\d{16}/.test(text)) return JSON.parse(text);
  return JSON.parse(text, (key, value, context) =>
    typeof value === 'number' && !Number.isSafeInteger(value) && context && /^-?\d+$/.test(context.source)
      ? BigInt(context.source) : value);
}
function toJson(value, indent) {
  return JSON.stringify(value, (key, each) =>
    typeof each !== 'bigint' ? each : JSON.rawJSON ? JSON.rawJSON(String(each)) : Number(each), indent);
}
const isObject = value => value !== null && typeof value === 'object';
const isNumber = value => typeof value === 'number' || typeof value === 'bigint';
const more = count => hint(count > 0 ? `and ${count} more` : '');
const cut = (text, most = TEXT) => text.length > most + 40 ? `${text.slice(0, most)}\u2026 (${text.length} characters)` : text;

// Returns a node that shows a value: a table for objects, a list for arrays.
function show(value, depth = 0, left = {nodes: NODES}) {
  if (!isObject(value)) {
    return el('bdi', typeof value, value === '' ? '(empty text)' : String(value));
  }
  const entries = Object.entries(value);
  left.nodes -= Math.min(entries.length, ROWS);
  if (entries.length === 0 || depth > 5 || left.nodes < 0) return el('code', {}, cut(toJson(value)));
  const shown = entries.slice(0, ROWS);
  const rest = more(entries.length - ROWS);
  if (!Array.isArray(value)) {
    return el('div', {}, el('table', 'members', el('tbody', {}, ...shown.map(([key, each]) =>
      el('tr', {}, el('th', {scope: 'row'}, bdi(key)), el('td', {}, show(each, depth + 1, left)))))), rest);
  }
  if (value.every(each => isObject(each) && !Array.isArray(each))) {
    const keys = [...new Set(shown.flatMap(([, each]) => Object.keys(each)))].slice(0, COLUMNS);
    return el('div', {}, table(keys, shown.map(([, each]) =>
      keys.map(key => Object.hasOwn(each, key) ? show(each[key], depth + 1, left) : ''))), rest);
  }
  return el('div', {}, el('ol', {start: 0}, ...shown.map(([, each]) => el('li', {}, show(each, depth + 1, left)))), rest);
}

// --- Requests ---

// A locator is "/path", or "/service$/path" if there are several services.
function splitLocator(locator) {
  const prefix = prefixes.find(each => locator.startsWith(each)) || '';
  return [prefix, locator.slice(prefix.length)];
}
const encode = text => encodeURIComponent(text.replace(/\p{Surrogate}/gu, '\ufffd'));
const encodePath = path => path.split('/').map(encode).join('/');
// The URL begins with the origin, because a path such as "//host" alone would be another host's.
function urlOf(locator) {
  const [service, path] = splitLocator(locator);
  return location.origin + (service && encodePath(service.slice(0, -1)) + '$') + encodePath(path);
}
// Browsers, and curl without an option, remove these segments from a path.
const hasDots = locator => /\/\.\.?(\/|$)/.test(locator);

// Sends a request. Returns {ok, status, value, text, reason}; a request that is not answered has the
// status 0.
const unsent = (reason, isLate) => ({ok: false, status: 0, reason, isLate});
async function send(command, locator, body, signal) {
  const headers = {Accept: 'application/json, text/plain;q=0.9, */*;q=0.8'};
  if (body !== undefined) headers['Content-Type'] = 'application/json';
  if (hasDots(locator)) return unsent('browsers cannot send a path with the segment "." or ".."');
  try {
    const response = await fetch(urlOf(locator),
      {method: METHODS[command], headers, body, signal, cache: 'no-store'});
    return await readAnswer(response);
  } catch (error) {
    if (signal && signal.aborted) {
      return signal.reason.name === 'TimeoutError' ? unsent(`no answer within ${LOAD_LIMIT / 1000} s`, true) : unsent('cancelled');
    }
    beat();
    return unsent('no answer: the connection is lost');
  }
}
async function readAnswer(response) {
  const {ok, status} = response;
  const type = (response.headers.get('Content-Type') || '').split(';')[0];
  const isJson = /json$/.test(type), isText = isJson || type.startsWith('text/');
  const size = isText ? 0 : (await response.arrayBuffer()).byteLength;
  const text = isText ? await response.text() : size ? `${size} bytes of ${type || 'no type'}` : undefined;
  let value = text;
  if (isJson) try { value = parseJson(text); } catch (error) { /* a text */ }
  const reason = isObject(value) && (value.detail || value.title) || (isText && !isJson ? text : status);
  return {ok, status, value, text, reason: ok ? '' : String(reason)};
}

// --- Connection ---

let online, beatTimer;

async function beat() {
  clearTimeout(beatTimer);
  let answered = false;
  try {
    const signal = AbortSignal.timeout(4000);
    answered = (await fetch('/.kova/page/', {method: 'HEAD', cache: 'no-store', signal})).status < 500;
  } catch (error) { /* no answer */ }
  clearTimeout(beatTimer);
  setOnline(answered);
  beatTimer = setTimeout(beat, answered ? BEAT_INTERVAL : 1000);
}
function setOnline(value) {
  if (value === online) return;
  const back = online === false;
  online = value;
  setStatus(byId('connection'), value, value ? (back ? 'connected again' : 'connected') : 'connection lost; trying again');
  if (back) load();
  openStream();
}

// --- Resources ---

let prefixes = [''];
const services = new Map(); // prefix -> {found, offer, failure, refusal, name}
let resources = new Map(); // locator or template -> {locator, operations: {command: operation} or null}
let loading;

// Asks each service for its resources. One that does not answer delays no other.
async function load() {
  if (loading) loading.abort();
  const own = loading = new AbortController();
  const ask = locator => askSoon(locator, own.signal);
  const first = await ask('/.kova/resources');
  if (own !== loading) return;
  const several = /^the services of this endpoint are: (.+)$/.exec(first.status === 404 ? first.reason : '');
  const names = several ? several[1].split(', ') : first.status ? [''] : prefixes;
  const isOther = String(names) !== String(prefixes);
  if (isOther) {
    prefixes = names;
    services.clear();
  }
  const waiting = [...prefixes];
  const work = async () => {
    while (waiting.length) await loadService(waiting.shift(), own, ask, !several && first);
  };
  if (isOther && VIEWS[location.hash]) route();
  await Promise.all(Array.from({length: LOADS}, work));
  if (own === loading) loading = undefined;
}
// Reads a path that a service answers soon, or fails.
const askSoon = (locator, ...signals) =>
  send('retrieve', locator, undefined, AbortSignal.any([AbortSignal.timeout(LOAD_LIMIT), ...signals]));
async function loadService(prefix, own, ask, first) {
  let answer = first || await ask(prefix + '/.kova/resources');
  const found = new Map();
  const next = {found, name: (services.get(prefix) || {}).name};
  if (answer.ok) {
    try { addViews(found, prefix, answer.value); } catch (error) { next.failure = 'the list is malformed'; }
  } else if (answer.status) {
    next.refusal = answer.reason;
    answer = await ask(prefix + '/');
    for (const path of answer.ok && Array.isArray(answer.value) ? answer.value : []) {
      found.set(prefix + path, {locator: prefix + path, operations: null});
    }
  }
  if (answer.status === 0 && !answer.isLate) return;
  if (!answer.status) next.failure = answer.reason;
  if (own !== loading) return;
  accept(prefix, next);
  if (next.failure || next.refusal) return;
  const version = await ask(prefix + '/.kova/version');
  if (own !== loading || !version.ok || !isObject(version.value)) return;
  next.name = `${version.value.name} ${version.value.version}`;
  showNames();
}
// Shows what a service offers. If it has not answered, what it offered before stays.
function accept(prefix, next) {
  const before = services.get(prefix);
  if (next.failure && before) next.found = before.found;
  next.offer = toJson([...next.found]);
  services.set(prefix, next);
  showProblems();
  showNames();
  // What a user has typed is kept if the service offers the same as before.
  if (before && before.offer === next.offer) return;
  resources = new Map([...services.values()].flatMap(each => [...each.found]));
  showTree();
  if (current === '/' || splitLocator(current)[0] === prefix) route();
}
function showNames() {
  const names = prefixes.map(each => (services.get(each) || {}).name).filter(name => name);
  byId('service').textContent = names.slice(0, 3).join(', ') || location.host;
  document.title = byId('service').textContent + ' - kova';
}
function showProblems() {
  const bad = [...services].filter(([, each]) => each.failure || each.refusal), node = byId('notice');
  const lines = bad.map(([prefix, {failure, refusal}]) => (failure ? 'The resources ' : 'Schemas, pending requests, metrics and trace levels ') +
    `${prefix && `of ${prefix} `}are not available: ${failure || refusal}`);
  node.hidden = !bad.length;
  if (String(lines) === node.said) return;
  node.said = String(lines);
  node.replaceChildren(...lines.map(line => el('div', {}, bdi(line))),
    ...bad.some(([, each]) => each.failure) ? [button('Try again', load)] : []);
}
function addViews(found, prefix, mounts) {
  for (const mount of mounts) {
    const base = mount.path === '/' ? '' : mount.path;
    if (!mount.operations.length) found.set(prefix + mount.path, {locator: prefix + mount.path, operations: null});
    for (const operation of mount.operations) {
      const locator = prefix + (base + (operation.path && '/' + operation.path) || '/');
      if (!found.has(locator)) found.set(locator, {locator, operations: {}});
      found.get(locator).operations[operation.command] = {schemas: {}, ...operation};
    }
  }
}
// A screen reader reads this text once.
const say = text => { byId('said').textContent = text; };

// --- Tree ---

const collapsed = new Set();
const link = locator => el('a', {href: hashOf(locator)}, bdi(locator));
const links = locators => el('ul', {ariaLabel: 'Resources below'}, ...locators.map(each => el('li', {}, link(each))));
const go = locator => { location.hash = hashOf(locator); };
const hashOf = locator => '#' + encodePath(locator);
let current = '';

// Returns nested nodes {locator, name, children} of the locators that contain the text.
function treeOf(filter) {
  const top = {children: new Map()};
  for (const locator of [...resources.keys()].sort()) {
    if (!locator.includes(filter)) continue;
    const [prefix, path] = splitLocator(locator);
    const names = path.split('/').filter(name => name);
    let node = top;
    (prefix ? [prefix, ...names] : names.length ? names : ['/']).forEach((name, i) => {
      const place = prefix + '/' + names.slice(0, prefix ? i : i + 1).join('/');
      if (!node.children.has(name)) node.children.set(name, {locator: place, name, children: new Map()});
      node = node.children.get(name);
    });
  }
  return top;
}
function showTree() {
  const filter = byId('path').value.trim();
  const focused = document.activeElement && document.activeElement.closest('#tree') !== null;
  tree.replaceChildren(...[...treeOf(filter).children.values()].map(treeItem));
  if (!tree.hasChildNodes()) tree.append(el('li', {role: 'none', className: 'hint'}, 'nothing found'));
  markCurrent();
  if (focused) focusItem(tree.querySelector('[tabindex="0"]'));
}
function treeItem(node) {
  const item = el('li', {role: 'treeitem', tabIndex: -1, 'data-locator': node.locator, ariaLabel: node.name},
    el('span', 'item', bdi(node.name)));
  if (node.children.size) {
    item.ariaExpanded = String(!collapsed.has(node.locator));
    item.append(el('ul', {role: 'group'}, ...[...node.children.values()].map(treeItem)));
  }
  return item;
}
const allItems = () => [...tree.querySelectorAll('[role=treeitem]')];
const treeItems = () => allItems()
  .filter(item => !item.parentElement.closest('[aria-expanded=false]'));
function markCurrent() {
  const all = allItems();
  for (const item of all) {
    item.ariaSelected = String(item.dataset.locator === current);
    item.tabIndex = -1;
  }
  const entry = all.find(item => item.dataset.locator === current) || all[0];
  if (entry) entry.tabIndex = 0;
}
function focusItem(item) {
  if (!item) return;
  for (const other of tree.querySelectorAll('[tabindex="0"]')) other.tabIndex = -1;
  item.tabIndex = 0;
  item.focus();
}
function expand(item, value) {
  if (value) collapsed.delete(item.dataset.locator); else collapsed.add(item.dataset.locator);
  item.ariaExpanded = String(value);
}
function onTreeKey(event) {
  const item = event.target.closest('[role=treeitem]');
  if (!item || event.altKey || event.ctrlKey || event.metaKey) return;
  const items = treeItems(), open = () => go(item.dataset.locator);
  const at = items.indexOf(item);
  const expanded = item.ariaExpanded;
  const actions = {
    ArrowDown: () => focusItem(items[at + 1]),
    ArrowUp: () => focusItem(items[at - 1]),
    Home: () => focusItem(items[0]),
    End: () => focusItem(items[items.length - 1]),
    ArrowRight: () => expanded === 'false' ? expand(item, true) : expanded && focusItem(items[at + 1]),
    ArrowLeft: () => expanded === 'true' ? expand(item, false)
      : focusItem(item.parentElement.closest('[role=treeitem]')),
    Enter: open,
    ' ': open,
  };
  if (!actions[event.key]) return;
  event.preventDefault();
  actions[event.key]();
}
function onTreeClick(event) {
  const item = event.target.closest('[role=treeitem]');
  if (!item) return;
  if (item.dataset.locator === current && item.ariaExpanded) {
    expand(item, item.ariaExpanded === 'false');
  }
  focusItem(item);
  go(item.dataset.locator);
}

// --- Forms ---

let labels = 0;

// Returns an editor for values of a schema: {node, json, set}. `json` returns the JSON text of the
// value. What is typed is not checked here: the service says what is wrong, and where. `form.fields`
// gets the nodes for its reasons, by the path that a reason begins with.
// A schema may contain itself and be of any size: what is too deep or too large is edited as JSON.
let fieldsLeft = FIELDS; // until the next event of a user
for (const type of ['click', 'input']) addEventListener(type, () => { fieldsLeft = FIELDS; }, true);
function editor(schema, outer, path, label) {
  const form = {...outer, depth: (outer.depth || 0) + 1};
  const base = resolve(schema, form.root);
  const options = base.enum || base.anyOf;
  const size = Math.max(options ? options.length : Object.keys(base.properties || {}).length, base.minItems || 0);
  const isDeep = form.depth > DEPTH && (base.properties || base.anyOf || base.items || base.additionalProperties);
  const isLarge = size > Math.max(--fieldsLeft, 0);
  let made;
  if (base.enum && isLarge) made = line({type: typeof base.enum[0], description: `one of ${size} values`}, label);
  else if (isDeep || isLarge) made = line({}, label);
  else if (base.enum) made = choice(base, label);
  else if (base.anyOf) made = alternatives(base, form, path, label);
  else if (base.type === 'boolean') made = flag(label);
  else if (base.type === 'object' && base.properties) made = struct(base, form, path, label);
  else if (base.type === 'object' && isObject(base.additionalProperties)) made = list(base.additionalProperties, form, path, label, true);
  else if (base.type === 'array' && isObject(base.items)) made = list(base.items, form, path, label, false, base.minItems);
  else if (base.type === 'null') made = {node: el('span', 'hint', 'no value'), json: () => 'null', set() {}};
  else made = line(base, label);
  const reason = alertOf({id: 'reason' + ++labels});
  made.node.append(reason);
  form.fields.set(path, {reason, node: made.node});
  return made;
}
function resolve(schema, root) {
  let base = schema || {};
  for (let i = 0; base.$ref && i < 20; ++i) {
    base = base.$ref.replace(/^#\//, '').split('/').reduce((node, name) =>
      node && node[name.replaceAll('~1', '/').replaceAll('~0', '~')], root) || {};
  }
  return base;
}
function labelled(label, input, hint) {
  input.id = 'field' + ++labels;
  return el('div', 'field',
    el('label', {htmlFor: input.id}, bdi(label)), input,
    hint ? el('span', 'hint', hint) : undefined);
}
function range(schema) {
  const {minimum, maximum} = schema;
  if (minimum === undefined && maximum === undefined) return schema.description || schema.type;
  return `${schema.type} from ${minimum ?? 'any'} to ${maximum ?? 'any'}`;
}
// A line of text; or, for a schema without a type, the JSON text of any value.
function line(schema, label) {
  const isText = schema.type === 'string', isValue = !schema.type || schema.type === 'object' || schema.type === 'array';
  const input = el(isValue ? 'textarea' : 'input', {spellcheck: false, autocomplete: 'off', dir: isText ? 'auto' : 'ltr'});
  if (!isText && !isValue) input.inputMode = 'decimal';
  const json = () => {
    const text = input.value;
    if (isValue) return text;
    if (isText) return JSON.stringify(text);
    return /^-?(0|[1-9]\d*)(\.\d+)?([eE][+-]?\d+)?$/.test(text.trim()) ? text.trim() : JSON.stringify(text);
  };
  const set = value => {
    const text = isValue ? toJson(value, 1) : value === null ? '' : String(value);
    input.placeholder = text.length > EDITED ? 'too large to be shown' : '';
    input.value = input.placeholder ? '' : text;
  };
  const examples = schema.examples ? `such as ${[].concat(schema.examples).slice(0, 5).join(', ')}` : range(schema);
  return {node: labelled(label, input, isValue ? 'JSON' : isText && !schema.description && !schema.examples ? '' : examples), json, set};
}
function flag(label) {
  const input = el('input', {type: 'checkbox'});
  return {node: labelled(label, input), json: () => String(input.checked), set: value => { input.checked = value === true; }};
}
function choice(schema, label) {
  const input = el('select', {}, ...optionsOf(schema.enum));
  return {node: labelled(label, input), json: () => toJson(schema.enum[Number(input.value)]),
    set: value => { input.value = String(Math.max(0, schema.enum.indexOf(value))); }};
}
// One of several schemas. An editor is built when it is chosen, because a type may contain itself.
function alternatives(schema, form, path, label) {
  const nameOf = (each, i) => each.title || (each.$ref || '').split('/').pop() || each.type ||
    Object.keys(each.properties || {})[0] || `alternative ${i + 1}`;
  const input = el('select', {}, ...optionsOf(schema.anyOf.map(nameOf)));
  const place = el('div');
  let inner;
  const build = () => {
    inner = editor(schema.anyOf[Number(input.value)], form, path + ' ', 'value');
    place.replaceChildren(inner.node);
  };
  input.oninput = build;
  build();
  const fits = (each, value) => {
    const type = resolve(each, form.root).type;
    const own = value === null ? 'null' : Array.isArray(value) ? 'array' : typeof value === 'bigint' ? 'number' : typeof value;
    return type === own || (type === 'integer' && own === 'number') || (own === 'object' && !type);
  };
  const set = value => {
    const at = schema.anyOf.findIndex(each => fits(each, value));
    input.value = String(Math.max(0, at));
    build();
    if (at >= 0) inner.set(value);
  };
  return {node: el('div', {}, labelled(label, input), place), json: () => inner.json(), set};
}
function struct(schema, form, path, label) {
  const required = new Set(schema.required || []);
  const members = Object.entries(schema.properties).map(([name, each]) =>
    member(each, form, path ? `${path}.${name}` : name, name, required.has(name)));
  const json = () => '{' + members.filter(each => each.isIncluded())
    .map(each => `${JSON.stringify(each.name)}:${each.json()}`).join(',') + '}';
  const set = value => {
    for (const each of members) each.set(isObject(value) ? value[each.name] : undefined);
  };
  return {node: group(label, ...members.map(each => each.node)), json, set};
}
// A member that is not required is left out unless its box is checked.
function member(schema, form, path, name, isRequired) {
  let inner;
  const place = el('div');
  const build = () => {
    inner = inner || editor(schema, form, path, name);
    place.replaceChildren(inner.node);
  };
  if (isRequired) {
    build();
    return {name, node: place, isIncluded: () => true, json: () => inner.json(),
      set: value => { if (value !== undefined) inner.set(value); }};
  }
  --fieldsLeft;
  const box = el('input', {type: 'checkbox', ariaLabel: `include ${name}`});
  const included = el('label', 'hint', box, ' set');
  box.oninput = () => { if (box.checked) build(); else place.replaceChildren(el('bdi', 'hint', name)); };
  box.oninput();
  const set = value => {
    box.checked = value !== undefined;
    box.oninput();
    if (box.checked) inner.set(value);
  };
  return {name, node: el('div', 'optional', included, place), isIncluded: () => box.checked, json: () => inner.json(), set};
}
// The elements of an array, or the entries of a map.
function list(schema, form, path, label, isMap, size) {
  const rows = [];
  const body = el('div');
  const add = (value, key) => {
    const row = {key: el('input', {value: key || '', ariaLabel: 'key', dir: 'auto'})};
    const place = isMap ? `${path}.${key || ''}` : `${path}[${rows.length}]`;
    row.editor = editor(schema, form, path || !isMap ? place : key || '', isMap ? 'value' : `[${rows.length}]`);
    if (value !== undefined) row.editor.set(value);
    row.node = el('div', 'row', isMap ? row.key : undefined, row.editor.node,
      button('Remove', () => { rows.splice(rows.indexOf(row), 1); row.node.remove(); changed(body); },
        {ariaLabel: `remove ${isMap ? 'entry' : 'element'}`}));
    rows.push(row);
    body.append(row.node);
  };
  const set = value => {
    rows.length = 0;
    body.replaceChildren();
    for (const [key, each] of Object.entries(isObject(value) ? value : {})) add(each, key);
  };
  const json = () => isMap
    ? '{' + rows.map(row => `${JSON.stringify(row.key.value)}:${row.editor.json()}`).join(',') + '}'
    : '[' + rows.map(row => row.editor.json()).join(',') + ']';
  for (let i = 0; i < Math.min(size || 0, 64); ++i) add();
  return {node: group(label, body,
    button('Add', () => { add(); changed(body); })), json, set};
}
// Returns the editor of a whole body. A malformed schema, or a value of too many parts, is edited as JSON.
function bodyEditor(schema, label, form = {root: schema, fields: new Map()}) {
  const node = el('div');
  let inner;
  const use = each => {
    form.fields.clear();
    fieldsLeft = FIELDS;
    inner = editor(each, form, '', label);
    node.replaceChildren(inner.node);
  };
  const asJson = value => {
    use({});
    if (value !== undefined) inner.set(value);
  };
  try { use(schema); } catch (error) { asJson(); }
  const set = value => {
    fieldsLeft = FIELDS;
    try {
      if (partsOf(value) > FIELDS) asJson(value); else inner.set(value);
    } catch (error) { asJson(value); }
  };
  return {node, json: () => inner.json(), set};
}
// Returns how many parts a value has, or any number above the limit.
function partsOf(value, limit = FIELDS) {
  let count = 1;
  for (const each of isObject(value) ? Object.values(value) : []) {
    if (count > limit) break;
    count += partsOf(each, limit - count);
  }
  return count;
}
const changed = node => node.dispatchEvent(new Event('input', {bubbles: true}));

// Shows a reason beside the field that it begins with ("zone.level: expected ..."), or else beside
// the whole form. Without a reason, removes it.
function showReason(form, reason) {
  for (const field of form.fields.values()) {
    field.reason.hidden = true;
    for (const input of field.node.querySelectorAll('[aria-invalid]')) {
      input.ariaInvalid = null;
      input.removeAttribute('aria-describedby');
    }
  }
  if (!reason) return;
  let path = '';
  for (const known of form.fields.keys()) {
    if (known.length > path.length && reason.startsWith(known) && /^[:.[]/.test(reason.slice(known.length))) path = known;
  }
  const field = form.fields.get(path);
  field.reason.textContent = reason;
  field.reason.hidden = false;
  const input = field.node.querySelector('input:not([type=checkbox]), textarea, select') || field.node.querySelector('input');
  if (!input) return;
  input.ariaInvalid = 'true';
  input.setAttribute('aria-describedby', field.reason.id);
  input.focus();
}

// --- Commands to copy ---

// Quotes a text for bash. Characters that are not seen, or change how others are seen, become escapes.
const HIDDEN = /(?! )[\p{C}\p{Z}]/gu;
const escaped = text => [...new TextEncoder().encode(text)].map(byte => '\\x' + byte.toString(16).padStart(2, '0')).join('');
function quoted(text) {
  if (/^[\w@%+=:,./-]+$/.test(text)) return text;
  if (text.search(HIDDEN) < 0) return `'${text.replaceAll("'", "'\\''")}'`;
  return `$'${text.replace(/[\\']/g, '\\$&').replace(HIDDEN, escaped)}'`;
}
function curlCommand(command, locator, body, streams) {
  const method = METHODS[command];
  const parts = ['curl'];
  if (hasDots(locator)) parts.push('--path-as-is');
  if (streams) parts.push('-N', '-H', "'Accept: text/event-stream'");
  if (method !== 'GET' || body !== undefined) parts.push('-X', method);
  if (body !== undefined) parts.push('-H', "'Content-Type: application/json'", '--data-raw', quoted(body));
  return [...parts, quoted(urlOf(locator))].join(' ');
}
function kovaCommand(word, locator, body) {
  // An empty service path, if the "$" of a path would end one.
  const dollar = locator.includes('$') && !splitLocator(locator)[0] ? '$$' : '$';
  const target = quoted(`tcp:${location.hostname}:${location.port || 80}${dollar}${locator}`);
  return `kova ${word} ${target}` + (body === undefined ? '' : ' ' + quoted(body));
}
function copyable(text, label) {
  const code = el('code', {tabIndex: 0}, text);
  const copy = button('Copy', async () => {
    try {
      await navigator.clipboard.writeText(code.textContent);
      copy.textContent = 'Copied';
    } catch (error) {
      getSelection().selectAllChildren(code);
      copy.textContent = 'Selected';
    }
    setTimeout(() => { copy.textContent = 'Copy'; }, 1500);
  }, {ariaLabel: `copy the ${label} command`});
  return el('div', 'command', code, copy);
}
function commandsOf(command, locator, body, streams) {
  const rows = [copyable(curlCommand(command, locator, body), 'curl')];
  if (command !== 'retrieve' || body === undefined) rows.push(copyable(kovaCommand(WORDS[command] || command, locator, body), 'kova'));
  if (streams) {
    rows.push(copyable(curlCommand(command, locator, body, true), 'curl stream'),
      copyable(kovaCommand('watch', locator), 'kova watch'));
  }
  return rows;
}

// --- View of a resource ---

const ANY = {retrieve: {streams: true, schemas: {}}, update: {schemas: {body: {}}},
  insert: {schemas: {body: {}}}, delete: {schemas: {}}};

// Returns inputs for the parameters of a template ("/tracks/{id:uint}"), and a function for the locator.
function parametersOf(template) {
  const inputs = new Map();
  const nodes = [...template.matchAll(/\{([^}:]*):?([^}]*)\}/g)].map(([whole, name, type]) => {
    inputs.set(whole, el('input', {spellcheck: false, autocomplete: 'off', dir: 'auto'}));
    return labelled(name, inputs.get(whole), type === 'rest' ? 'any path' : type);
  });
  return {nodes, locator: () => template.replace(/\{[^}]*\}/g, whole => inputs.get(whole).value),
    isComplete: () => [...inputs.values()].every(input => input.value !== '')};
}
function resourceView(locator) {
  const known = resources.get(locator);
  const below = [...resources.keys()].filter(each => each !== locator && each.startsWith(locator.replace(/\/$/, '') + '/'));
  const view = el('section', {ariaLabel: locator}, el('h2', {}, bdi(locator)));
  if (known || below.length === 0) {
    const operations = known && known.operations || ANY;
    const parameters = known && known.operations ? parametersOf(locator)
      : {nodes: [], locator: () => locator, isComplete: () => true};
    if (parameters.nodes.length) view.append(panel(h3('Parameters'), ...parameters.nodes));
    const context = {operations, parameters, hasSchemas: Boolean(known && known.operations), forms: []};
    if (operations.retrieve) view.append(readPanel(context, operations.retrieve));
    for (const command of ['update', 'insert', 'delete']) {
      if (operations[command]) view.append(writePanel(context, command, operations[command]));
    }
    const others = Object.keys(operations).filter(command => !METHODS[command]);
    if (others.length) view.append(hint('Not available over HTTP: ', bdi(others.join(', '))));
  }
  if (below.length) view.append(belowPanel(below));
  return view;
}
function belowPanel(below) {
  const streams = below.filter(each => {
    const {operations} = resources.get(each);
    return !each.includes('{') && (!operations || operations.retrieve && operations.retrieve.streams);
  });
  return panel(h3('Below'),
    streams.length ? button(`Watch all ${streams.length}`, () => { streams.forEach(watch); location.hash = '#!watched'; }) : undefined,
    links(below.slice(0, ROWS)), more(below.length - ROWS));
}
// Calls a function for each input in the view of which a node becomes a part.
const onInput = (node, act) => queueMicrotask(() => node.parentElement.addEventListener('input', act));
// Keeps a list of commands equal to what the forms contain.
function commandList(parameters, command, body, streams) {
  const list = el('div');
  const update = () => list.replaceChildren(...commandsOf(command, parameters.locator(), body(), streams));
  update();
  return {node: details('Commands', list), update};
}
function readPanel(context, operation) {
  const {parameters} = context;
  const bodySchema = operation.schemas.body;
  const body = bodySchema && bodyEditor(bodySchema, 'body');
  const commands = commandList(parameters, 'retrieve', () => body && body.json(), operation.streams);
  const status = el('p', {role: 'status'});
  const output = el('div', {className: 'value', tabIndex: 0, role: 'region', ariaLabel: 'Value'});
  const watching = el('div');
  let abort;
  const cancel = button('Cancel', () => abort && abort.abort(), {className: 'cancel', disabled: true});
  async function read() {
    if (abort) abort.abort();
    const own = abort = new AbortController();
    reading.add(own);
    cancel.disabled = false;
    status.textContent = 'reading';
    const answer = await send('retrieve', parameters.locator(), undefined, own.signal);
    reading.delete(own);
    if (own !== abort) return;
    abort = undefined;
    cancel.disabled = true;
    setStatus(status, answer.ok, answer.ok ? String(answer.status) : `${answer.status || ''} ${answer.reason}`.trim());
    if (!answer.ok) return;
    output.replaceChildren(...(answer.text === undefined ? [] : [show(answer.value), rawText(answer), ...childLinks(context, answer.value)]));
    for (const set of context.forms) set(answer.value);
  }
  const watchButton = button('Watch', () => toggle());
  const showWatch = () => {
    const own = watches.get(parameters.locator());
    watchButton.textContent = own ? 'Stop watching' : 'Watch';
    watching.replaceChildren(...own ? [own.panel] : []);
  };
  const toggle = () => {
    const locator = parameters.locator();
    if (watches.has(locator)) unwatch(locator); else watch(locator);
    showWatch();
  };
  context.read = read;
  showWatch();
  const node = panel(h3('Value'),
    buttons(button('Read', read, {className: 'read', disabled: Boolean(body)}), cancel, operation.streams ? watchButton : undefined), status,
    body ? hint('Browsers cannot send this request, because it has a body. Use the command.') : undefined,
    body && body.node, output, watching, commands.node);
  onInput(node, () => { commands.update(); showWatch(); });
  if (!body && parameters.isComplete()) read();
  return node;
}
const rawText = answer => details('JSON',
  el('pre', {}, cut(isObject(answer.value) ? toJson(answer.value, 2) : answer.text, EDITED)));
// Without schemas, the names in a list may be those of resources below.
function childLinks(context, value) {
  const isList = !context.hasSchemas && Array.isArray(value) && value.length > 0 && value.length <= ROWS &&
    value.every(each => typeof each === 'string' && each !== '' && !each.includes('/'));
  const base = context.parameters.locator().replace(/\/$/, '');
  return isList ? [links(value.map(each => base + '/' + each))] : [];
}
function writePanel(context, command, operation) {
  const {parameters} = context;
  const schema = operation.schemas.body;
  const form = {root: schema || {}, fields: new Map()};
  const whole = schema && bodyEditor(schema, 'value', form);
  if (!whole) form.fields.set('', {reason: alertOf(), node: el('div')});
  const body = () => whole && whole.json();
  const commands = commandList(parameters, command, body, false);
  const status = el('p', {role: 'status'});
  const label = command[0].toUpperCase() + command.slice(1);
  const submit = button(label, null, {type: 'submit'});
  // A press arms "Delete" for a while, and for the resource that is selected then.
  let isArmed, timer;
  const arm = value => {
    clearTimeout(timer);
    isArmed = value || command !== 'delete';
    submit.textContent = value ? 'Press again to delete' : label;
    if (value) timer = setTimeout(arm, 4000);
  };
  arm();
  const node = el('form', {className: 'panel ' + command, noValidate: true}, h3(label),
    whole ? whole.node : form.fields.get('').reason, buttons(submit), status, commands.node);
  node.onsubmit = async event => {
    event.preventDefault();
    if (!isArmed) return arm(true);
    arm();
    showReason(form, '');
    status.textContent = 'sending';
    const answer = await send(command, parameters.locator(), body());
    setStatus(status, answer.ok, answer.ok ? `${answer.status} done` : `${answer.status || ''} refused`);
    if (!answer.ok) return showReason(form, answer.reason);
    if (answer.text) status.append(': ', show(answer.value));
    if (command === 'update' && context.read && context.operations.retrieve && !context.operations.retrieve.schemas.body) context.read();
  };
  onInput(node, () => { commands.update(); arm(); });
  if (whole && command === 'update') {
    // The form begins with the current value. What a user has typed since is kept.
    let isTouched = false;
    node.addEventListener('input', () => { isTouched = true; });
    context.forms.push(value => {
      if (isTouched) return;
      whole.set(value);
      commands.update();
    });
    node.addEventListener('submit', () => { isTouched = false; });
  }
  return node;
}

// --- Watched resources ---

const watches = new Map();
let source, opening;

function watch(locator) {
  if (watches.has(locator)) return;
  if (watches.size >= MOST_WATCHES) return say(`At most ${MOST_WATCHES} resources are watched.`);
  const own = {locator, values: [], sizes: [], size: 0, count: 0, logged: 0, state: 'waiting', ended: false, dirty: true, width: 0};
  // None of these is read out whenever it changes; "Announce" reads them out once.
  own.status = hint('');
  own.output = el('p', 'latest');
  own.member = el('select', {ariaLabel: 'member of the chart', hidden: true, onchange: () => { own.dirty = true; }});
  own.canvas = el('canvas', {role: 'img', hidden: true});
  own.log = el('ol', {className: 'log', role: 'log', ariaLive: 'off', tabIndex: 0, ariaLabel: 'Values', hidden: true});
  own.panel = el('article', {className: 'panel', ariaLabel: `watch of ${locator}`},
    h3(link(locator)),
    buttons(button('Stop', () => { unwatch(locator); route(); }),
      button('Announce', () => say(`${locator}: ${own.output.textContent}, ${own.status.textContent}`))),
    own.output, own.member, own.canvas, own.log, own.status);
  own.panel.watch = own;
  watches.set(locator, own);
  sight.observe(own.panel);
  sizes.observe(own.canvas);
  streamSoon();
}
function unwatch(locator) {
  const own = watches.get(locator);
  if (!own) return;
  watches.delete(locator);
  sight.unobserve(own.panel);
  sizes.unobserve(own.canvas);
  own.panel.remove();
  streamSoon();
}
const sight = new IntersectionObserver(entries => {
  for (const entry of entries) entry.target.watch.isVisible = entry.isIntersecting;
});
const sizes = new ResizeObserver(entries => {
  for (const entry of entries) {
    const own = entry.target.closest('article');
    if (own) { own.watch.width = Math.round(entry.contentRect.width); own.watch.dirty = true; }
  }
});

// Opens one stream for all watched paths, a little later: several changes need one stream.
function streamSoon(delay = 50) {
  byId('count').textContent = watches.size ? `(${watches.size} of ${MOST_WATCHES})` : '';
  clearTimeout(opening);
  opening = setTimeout(openStream, delay);
}
function openStream() {
  clearTimeout(opening);
  if (source) source.close();
  source = undefined;
  const live = [...watches.values()].filter(own => !own.ended);
  if (!live.length || !online) {
    for (const own of live) setState(own, 'connection lost');
    return;
  }
  const url = '/?' + live.map(own => 'watch=' + encodeURIComponent(own.locator)).join('&');
  const stream = source = new EventSource(url);
  stream.addEventListener('next', onNext);
  stream.addEventListener('completed', event => onEnd(event, 'completed'));
  stream.addEventListener('dropped', event => onEnd(event, 'ended by the service'));
  stream.addEventListener('error', event => {
    if (event.data !== undefined) return onEnd(event);
    const isRefused = stream.readyState === EventSource.CLOSED;
    stream.close();
    if (stream !== source) return;
    source = undefined;
    for (const own of live) setState(own, 'connection lost');
    if (isRefused) explainRefusal(url, live); else beat().then(() => { if (!loading) load(); streamSoon(1000); });
  });
}
function setState(own, state) {
  own.state = state;
  own.dirty = true;
}
function onNext(event) {
  const data = parseJson(event.data);
  const own = watches.get(data.path);
  if (!own) return;
  const value = 'value' in data ? data.value : data.text ?? (data.base64 === undefined ? null : `${data.type}: ${data.base64}`);
  const {length} = event.data;
  if (length > VALUE_SIZE) keep(own, cut(short(value)), TEXT); else keep(own, value, length);
  ++own.count;
  setState(own, 'live');
}
// Keeps a value, and forgets the oldest ones beyond the limits.
function keep(own, value, size) {
  own.values.push(value);
  own.sizes.push(size);
  own.size += size;
  while (own.values.length > POINTS || own.size > WATCH_SIZE) {
    own.values.shift();
    own.size -= own.sizes.shift();
  }
}
// A service that stops, or that is busy, may be back soon.
const isTemporary = status => status === 429 || status === 503;
// The service has ended a path: the stream would ask again if it were opened with this path.
function onEnd(event, text) {
  const data = parseJson(event.data);
  const own = watches.get(data.path);
  if (!own) return;
  if (event.type === 'dropped' || isTemporary(data.status)) {
    setState(own, 'connection lost');
    return streamSoon(RETRY_INTERVAL);
  }
  own.ended = true;
  setState(own, text || `${data.status} ${data.detail || data.title || ''}`);
  say(`${own.locator}: ${own.state}`);
  if (![...watches.values()].some(each => !each.ended) && source) {
    source.close();
    source = undefined;
  }
}
// EventSource does not say why a stream is refused.
async function explainRefusal(url, live) {
  const abort = new AbortController();
  try {
    const response = await fetch(url, {headers: {Accept: 'text/event-stream'}, signal: abort.signal, cache: 'no-store'});
    if (response.ok || isTemporary(response.status)) {
      abort.abort();
      return streamSoon(RETRY_INTERVAL);
    }
    const answer = await readAnswer(response);
    for (const own of live) {
      own.ended = true;
      setState(own, `${answer.status} ${answer.reason}`);
    }
    say(answer.reason);
  } catch (error) { beat(); }
}

// Returns the members of a value that are numbers, as [name, number]; "" names a number itself.
function numbersIn(value, name = '', depth = 0) {
  if (isNumber(value)) return [[name, Number(value)]];
  if (!isObject(value) || Array.isArray(value) || depth > 2) return [];
  return Object.entries(value).slice(0, 20).flatMap(([key, each]) => numbersIn(each, name ? `${name}.${key}` : key, depth + 1));
}
const memberOf = (value, name) => (numbersIn(value).find(each => each[0] === name) || [])[1];
const short = value => isObject(value) ? toJson(value) : String(value);

// Shows what has changed since the last time. Panels that are not visible are left alone.
function paint() {
  if (document.hidden) return;
  for (const own of watches.values()) {
    if (!own.dirty || !own.isVisible) continue;
    own.dirty = false;
    paintWatch(own);
  }
}
function paintWatch(own) {
  const last = own.values[own.values.length - 1];
  setText(own.status, own.state);
  if (!own.count) return;
  const names = numbersIn(last).map(each => each[0]);
  own.canvas.hidden = names.length === 0;
  own.member.hidden = names.length < 2;
  own.log.hidden = !own.canvas.hidden;
  if (own.canvas.hidden) {
    setText(own.output, cut(short(last)));
    return paintLog(own);
  }
  if (names.length > 1 && own.member.options.length !== names.length) {
    own.member.replaceChildren(...names.map(name => el('option', {value: name}, name)));
  }
  const name = names.length > 1 ? own.member.value : names[0];
  setText(own.output, short(name ? memberOf(last, name) : last));
  paintChart(own, name);
}
function paintLog(own) {
  const added = Math.min(own.count - own.logged, own.values.length, ENTRIES);
  own.logged = own.count;
  if (!added) return;
  own.log.prepend(...own.values.slice(-added).reverse().map(value => el('li', {}, bdi(cut(short(value))))));
  while (own.log.children.length > ENTRIES) own.log.lastChild.remove();
}
let ink;
function paintChart(own, name) {
  const points = own.values.map(value => memberOf(value, name)).filter(Number.isFinite);
  const low = Math.min(...points), high = Math.max(...points);
  if (!own.width || !points.length) return;
  const scale = window.devicePixelRatio || 1, height = 80;
  const {canvas} = own;
  const width = own.width * scale;
  if (canvas.width !== width) { canvas.width = width; canvas.height = height * scale; }
  const draw = canvas.getContext('2d');
  draw.setTransform(scale, 0, 0, scale, 0, 0);
  draw.clearRect(0, 0, own.width, height);
  ink = ink || getComputedStyle(document.body).getPropertyValue('--accent').trim();
  draw.strokeStyle = ink;
  draw.lineWidth = 1.5;
  draw.beginPath();
  const steps = Math.max(points.length, POINTS / 4) - 1;
  points.forEach((value, i) => {
    const x = own.width - 2 - (points.length - 1 - i) * (own.width - 4) / steps;
    const y = high === low ? height / 2 : height - 4 - (value - low) / (high - low) * (height - 8);
    if (i) draw.lineTo(x, y); else draw.moveTo(x, y);
  });
  draw.stroke();
  const label = `chart of the last ${points.length} values, from ${low} to ${high}`;
  if (canvas.ariaLabel !== label) canvas.ariaLabel = label;
  setText(own.status, `${own.state}: ${own.count} values, from ${low} to ${high}`);
}
function watchedView() {
  const view = el('section', {ariaLabel: 'Watched'}, el('h2', {}, 'Watched resources'));
  if (!watches.size) view.append(hint('Open a resource and press Watch.'));
  else view.append(button('Stop all', () => { [...watches.keys()].forEach(unwatch); route(); }));
  view.append(el('div', 'grid', ...[...watches.values()].map(own => own.panel)));
  return view;
}

// --- Inspection ---

// Returns a view that reads a path of the inspection of each service, and shows it with `fill`.
function inspectionView(title, name, fill, repeats) {
  const view = el('section', {ariaLabel: title}, el('h2', {}, title));
  const parts = prefixes.map(prefix => ({prefix, body: el('div')}));
  for (const part of parts) {
    view.append(panel(part.prefix ? h3(bdi(part.prefix)) : '', part.body,
      details('Commands', ...commandsOf('retrieve', `${part.prefix}/.kova/${name}`))));
  }
  const refresh = async part => {
    const answer = await askSoon(`${part.prefix}/.kova/${name}`);
    if (!view.isConnected) return;
    if (answer.ok) {
      fill(part, answer.value, () => refresh(part));
    } else {
      part.table = undefined;
      part.body.replaceChildren(el('p', 'bad', `not available: ${answer.reason}`));
    }
    if (repeats || !answer.ok) setTimeout(refresh, POLL_INTERVAL, part);
  };
  queueMicrotask(() => parts.forEach(refresh));
  return view;
}
function fillPending(part, calls) {
  part.table = part.table || liveTable(part.body, ['path', 'command', 'client', 'age', 'phase', 'thread'],
    call => [call.path, call.command, call.client, call.phase, call.thread].join(),
    call => [call.path, call.command, call.client, `${call.ageMs} ms`, call.phase, call.thread || ''], 'no request is pending');
  part.table(calls);
}
function fillMetrics(part, text) {
  part.table = part.table || liveTable(part.body, ['metric', 'labels', 'value'],
    each => each[1] + each[2], each => [each[1], each[2] || '', each[3]], 'no metrics');
  part.table(String(text).split('\n').filter(each => each && !each.startsWith('#'))
    .map(each => /^([^\s{]+)(\{.*\})?\s+(\S+)/.exec(each)).filter(each => each));
}
// The levels are those of the traces: 0 writes everything, 7 nothing.
function fillTraces(part, channels, refresh) {
  const selects = [...part.body.querySelectorAll('td select')];
  // The tables stay while the channels are the same, and with them the focus.
  if (selects.length && String(selects.map(each => each.ariaLabel)) === String(channels.map(({name}) => `level of ${name}`))) {
    channels.forEach(({level}, i) => { selects[i].value = String(level); });
    return;
  }
  const reason = alertOf();
  const change = async (pattern, level) => {
    const answer = await send('update', `${part.prefix}/.kova/trace`, JSON.stringify({pattern, level}));
    reason.textContent = answer.reason;
    reason.hidden = answer.ok;
    if (answer.ok) refresh();
  };
  const levels = (label, value, onchange) => el('select', {ariaLabel: label, onchange},
    ...[0, 1, 2, 3, 4, 5, 6, 7].map(level => el('option', {value: String(level), selected: level === value}, String(level))));
  const pattern = el('input', {spellcheck: false, placeholder: 'KOVA_*', ariaLabel: 'pattern of channels'});
  const all = levels('level', 7);
  const form = el('form', {className: 'row', noValidate: true}, pattern, all, button('Set levels', null, {type: 'submit'}));
  form.onsubmit = event => { event.preventDefault(); change(pattern.value, Number(all.value)); };
  part.body.replaceChildren(hint('0 writes everything, 7 nothing. In a pattern * matches any text.'), form, reason,
    table(['channel', 'level'], channels.map(({name, level}) =>
      [name, levels(`level of ${name}`, level, event => change(name, Number(event.target.value)))])));
}

// --- Start ---

const VIEWS = {
  '#!watched': watchedView,
  '#!pending': () => inspectionView('Pending requests', 'pending', fillPending, true),
  '#!metrics': () => inspectionView('Metrics', 'metrics', fillMetrics, true),
  '#!traces': () => inspectionView('Trace levels', 'trace', fillTraces, false),
};
function decodeHash() {
  try { return decodeURIComponent(location.hash.slice(1)) || '/'; } catch (error) { return '/'; }
}
function route() {
  const {hash} = location;
  if (hash === '#content') return;
  // A browser has few connections: a resource that does not answer must not keep one.
  for (const each of reading) each.abort();
  const isView = Object.hasOwn(VIEWS, hash);
  current = isView ? '' : decodeHash();
  for (const link of byId('views').children) {
    link.ariaCurrent = link.hash === (isView ? hash : '#/') ? 'page' : null;
  }
  byId('content').replaceChildren(isView ? VIEWS[hash]() : resourceView(current.startsWith('/') ? current : '/'));
  for (const own of watches.values()) own.dirty = true;
  markCurrent();
}
tree.addEventListener('keydown', onTreeKey);
tree.addEventListener('click', onTreeClick);
byId('path').addEventListener('input', showTree);
byId('find').addEventListener('submit', event => {
  event.preventDefault();
  const path = byId('path').value.trim();
  if (path.startsWith('/')) go(path);
});
matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => { ink = undefined; });
addEventListener('hashchange', route);
document.addEventListener('visibilitychange', () => { if (!document.hidden) beat(); });
setInterval(paint, 500);
beat();
load();
