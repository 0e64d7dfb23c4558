// The page of an endpoint: it shows services to a person. Texts of services and users become text
// nodes, never HTML.
'use strict';

const byId = id => document.getElementById(id);
const METHODS = {retrieve: 'GET', update: 'PUT', insert: 'POST', delete: 'DELETE'};
const WORDS = {retrieve: 'get', update: 'put', insert: 'insert', delete: 'delete'};
const POINTS = 240;        // values that a chart shows
const ENTRIES = 50;        // values that a log shows
const ROWS = 200;          // elements of an array or object that are shown
const PAINT_INTERVAL = 500;
const BEAT_INTERVAL = 3000;
const COLUMNS = 50;        // columns of a table
const MOST_WATCHES = 128;  // paths that a stream of the endpoint watches
const RETRY_INTERVAL = 2000;
const reading = new Set();  // the aborts of the reads that the current view shows
const POLL_INTERVAL = 2000;

// Returns an element with properties or attributes, and children. Strings become text nodes.
function el(tag, props, ...children) {
  const node = document.createElement(tag);
  for (const [key, value] of Object.entries(props || {})) {
    if (key in node) node[key] = value; else node.setAttribute(key, value);
  }
  node.append(...children.filter(child => child !== undefined));
  return node;
}
const button = (label, onclick, props) => el('button', {type: 'button', onclick, ...props}, label);
const cell = value => el('td', {}, typeof value === 'object' ? value : el('bdi', {}, String(value)));
function table(heads, rows) {
  return el('div', {className: 'wide', tabIndex: 0, role: 'region', ariaLabel: 'Table'}, el('table', {},
    el('thead', {}, el('tr', {}, ...heads.map(head => el('th', {scope: 'col'}, el('bdi', {}, head))))),
    el('tbody', {}, ...rows.map(row => el('tr', {}, ...row.map(cell))))));
}

// --- Values ---------------------------------------------------------------------------------------

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
const more = count => el('p', {className: 'hint'}, `and ${count} more`);

// Returns a node that shows a value: a table for objects, a list for arrays.
function show(value, depth = 0) {
  if (!isObject(value)) {
    return el('bdi', {className: typeof value}, value === '' ? '(empty text)' : String(value));
  }
  const entries = Object.entries(value);
  if (entries.length === 0 || depth > 5) return el('code', {}, toJson(value));
  const shown = entries.slice(0, ROWS);
  const rest = entries.length > ROWS ? more(entries.length - ROWS) : undefined;
  if (!Array.isArray(value)) {
    return el('div', {}, el('table', {className: 'members'}, el('tbody', {}, ...shown.map(([key, each]) =>
      el('tr', {}, el('th', {scope: 'row'}, el('bdi', {}, key)), el('td', {}, show(each, depth + 1)))))), rest);
  }
  if (value.every(each => isObject(each) && !Array.isArray(each))) {
    const keys = [...new Set(shown.flatMap(([, each]) => Object.keys(each)))].slice(0, COLUMNS);
    return el('div', {}, table(keys, shown.map(([, each]) =>
      keys.map(key => Object.hasOwn(each, key) ? show(each[key], depth + 1) : ''))), rest);
  }
  return el('div', {}, el('ol', {start: 0}, ...shown.map(([, each]) => el('li', {}, show(each, depth + 1)))), rest);
}

// --- Requests -------------------------------------------------------------------------------------

// A locator is "/path", or "/service$/path" where an endpoint has several services.
function splitLocator(locator) {
  const prefix = prefixes.find(each => locator.startsWith(each)) || '';
  return [prefix, locator.slice(prefix.length)];
}
const encodePath = path => path.split('/').map(encodeURIComponent).join('/');
function urlOf(locator) {
  const [service, path] = splitLocator(locator);
  return (service && encodePath(service.slice(0, -1)) + '$') + encodePath(path);
}

// Sends a request. Returns {ok, status, value, text, reason}; a request that is not answered has the
// status 0.
async function send(command, locator, body, signal) {
  const headers = {Accept: 'application/json, text/plain;q=0.9, */*;q=0.8'};
  if (body !== undefined) headers['Content-Type'] = 'application/json';
  try {
    const response = await fetch(urlOf(locator),
      {method: METHODS[command], headers, body, signal, cache: 'no-store'});
    return await readAnswer(response);
  } catch (error) {
    if (signal && signal.aborted) return {ok: false, status: 0, reason: 'cancelled'};
    beat();
    return {ok: false, status: 0, reason: 'no answer: the connection is lost'};
  }
}
async function readAnswer(response) {
  const {ok, status} = response;
  const type = (response.headers.get('Content-Type') || '').split(';')[0];
  if (/json$/.test(type)) {
    const text = await response.text();
    let value;
    try { value = parseJson(text); } catch (error) { value = text; }
    const reason = ok ? '' : String(isObject(value) && (value.detail || value.title) || status);
    return {ok, status, value, text, reason};
  }
  if (type.startsWith('text/')) {
    const text = await response.text();
    return {ok, status, value: text, text, reason: ok ? '' : text};
  }
  const size = (await response.arrayBuffer()).byteLength;
  const text = size ? `${size} bytes of ${type || 'no type'}` : undefined;
  return {ok, status, value: text, text, reason: ok ? '' : String(status)};
}

// --- Connection -----------------------------------------------------------------------------------

let online;
let beatTimer;

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
  const state = byId('connection');
  state.textContent = value ? (back ? 'connected again' : 'connected') : 'connection lost; trying again';
  state.className = value ? '' : 'bad';
  if (back) load();
  openStream();
}

// --- Resources ------------------------------------------------------------------------------------

let prefixes = [''];
let resources = new Map();  // locator or template -> {locator, operations: {command: operation} or null}
let inspected = true;
let loaded = 0;
let shown = '';             // the resources that the tree shows, as JSON

async function load() {
  const own = ++loaded;
  const root = await send('retrieve', '/');
  const several = /^the services of this endpoint are: (.+)$/.exec(root.status === 404 ? root.reason : '');
  const names = prefixes = several ? several[1].split(', ') : [''];
  const found = new Map();
  let refusal = '', reached = root.status !== 0;
  for (const prefix of names) {
    const views = await send('retrieve', prefix + '/.kova/resources');
    reached = reached && views.status !== 0;
    if (views.ok && Array.isArray(views.value)) {
      addViews(found, prefix, views.value);
    } else {
      refusal = views.reason;
      const mounts = several ? await send('retrieve', prefix + '/') : root;
      for (const path of mounts.ok && Array.isArray(mounts.value) ? mounts.value : []) {
        found.set(prefix + path, {locator: prefix + path, operations: null});
      }
    }
  }
  if (own !== loaded || !reached) return;
  resources = found;
  inspected = refusal === '';
  notice(inspected ? '' : `Schemas, pending requests, metrics and trace levels are not available: ${refusal}`);
  const version = inspected ? await send('retrieve', prefixes[0] + '/.kova/version') : {};
  byId('service').textContent = version.ok ? `${version.value.name} ${version.value.version}` : location.host;
  document.title = byId('service').textContent + ' - kova';
  // What a user has typed is kept if the service offers the same as before.
  const offer = toJson([...found]);
  if (offer === shown) return;
  shown = offer;
  showTree();
  route();
}
function addViews(found, prefix, mounts) {
  for (const mount of mounts) {
    const base = mount.path === '/' ? '' : mount.path;
    if (!mount.operations.length) found.set(prefix + mount.path, {locator: prefix + mount.path, operations: null});
    for (const operation of mount.operations) {
      const locator = prefix + (base + (operation.path && '/' + operation.path) || '/');
      if (!found.has(locator)) found.set(locator, {locator, operations: {}});
      found.get(locator).operations[operation.command] = operation;
    }
  }
}
function notice(text) {
  byId('notice').hidden = !text;
  byId('notice').textContent = text;
}

// --- Tree -----------------------------------------------------------------------------------------

const collapsed = new Set();
const hashOf = locator => '#' + encodePath(locator);
let current = '';

// Returns the nested nodes {locator, name, children} of the locators that contain the text.
function treeOf(filter) {
  const top = {children: new Map()};
  for (const locator of [...resources.keys()].sort()) {
    if (!locator.includes(filter)) continue;
    const [prefix, path] = splitLocator(locator);
    let node = top, place = prefix;
    const names = path.split('/').slice(1).filter(name => name);
    for (const name of prefix ? [prefix, ...names] : names.length ? names : ['/']) {
      place = name === prefix ? prefix + '/' : name === '/' ? '/' : place.replace(/\/$/, '') + '/' + name;
      if (!node.children.has(name)) node.children.set(name, {locator: place, name, children: new Map()});
      node = node.children.get(name);
    }
  }
  return top;
}
function showTree() {
  const filter = byId('path').value.trim();
  const focused = document.activeElement && document.activeElement.closest('#tree') !== null;
  byId('tree').replaceChildren(...[...treeOf(filter).children.values()].map(treeItem));
  if (!byId('tree').hasChildNodes()) byId('tree').append(el('li', {role: 'none', className: 'hint'}, 'nothing found'));
  markCurrent();
  if (focused) focusItem(byId('tree').querySelector('[tabindex="0"]'));
}
function treeItem(node) {
  const item = el('li', {role: 'treeitem', tabIndex: -1}, el('span', {className: 'item'}, el('bdi', {}, node.name)));
  item.dataset.locator = node.locator;
  item.setAttribute('aria-label', node.name);
  if (node.children.size) {
    item.setAttribute('aria-expanded', String(!collapsed.has(node.locator)));
    item.append(el('ul', {role: 'group'}, ...[...node.children.values()].map(treeItem)));
  }
  return item;
}
const treeItems = () => [...byId('tree').querySelectorAll('[role=treeitem]')]
  .filter(item => !item.parentElement.closest('[aria-expanded=false]'));
function markCurrent() {
  const all = [...byId('tree').querySelectorAll('[role=treeitem]')];
  for (const item of all) {
    item.setAttribute('aria-selected', String(item.dataset.locator === current));
    item.tabIndex = -1;
  }
  const entry = all.find(item => item.dataset.locator === current) || all[0];
  if (entry) entry.tabIndex = 0;
}
function focusItem(item) {
  if (!item) return;
  for (const other of byId('tree').querySelectorAll('[tabindex="0"]')) other.tabIndex = -1;
  item.tabIndex = 0;
  item.focus();
}
function expand(item, value) {
  if (value) collapsed.delete(item.dataset.locator); else collapsed.add(item.dataset.locator);
  item.setAttribute('aria-expanded', String(value));
}
function onTreeKey(event) {
  const item = event.target.closest('[role=treeitem]');
  if (!item || event.altKey || event.ctrlKey || event.metaKey) return;
  const items = treeItems();
  const at = items.indexOf(item);
  const expanded = item.getAttribute('aria-expanded');
  const actions = {
    ArrowDown: () => focusItem(items[at + 1]),
    ArrowUp: () => focusItem(items[at - 1]),
    Home: () => focusItem(items[0]),
    End: () => focusItem(items[items.length - 1]),
    ArrowRight: () => expanded === 'false' ? expand(item, true) : expanded && focusItem(items[at + 1]),
    ArrowLeft: () => expanded === 'true' ? expand(item, false)
      : focusItem(item.parentElement.closest('[role=treeitem]')),
    Enter: () => { location.hash = hashOf(item.dataset.locator); },
    ' ': () => { location.hash = hashOf(item.dataset.locator); },
  };
  if (!actions[event.key]) return;
  event.preventDefault();
  actions[event.key]();
}
function onTreeClick(event) {
  const item = event.target.closest('[role=treeitem]');
  if (!item) return;
  if (item.dataset.locator === current && item.hasAttribute('aria-expanded')) {
    expand(item, item.getAttribute('aria-expanded') === 'false');
  }
  focusItem(item);
  location.hash = hashOf(item.dataset.locator);
}

// --- Forms ----------------------------------------------------------------------------------------

let labels = 0;

// Returns an editor for values of a schema: {node, json, set}. `json` returns the JSON text of the
// value. What is typed is not checked here: the service says what is wrong, and where. `form.fields`
// gets the nodes for its reasons, by the path that a reason begins with.
function editor(schema, form, path, label) {
  const base = resolve(schema, form.root);
  let made;
  if (base.enum) made = choice(base, label);
  else if (base.anyOf) made = alternatives(base, form, path, label);
  else if (base.type === 'boolean') made = flag(label);
  else if (base.type === 'object' && base.properties) made = struct(base, form, path, label);
  else if (base.type === 'object' && isObject(base.additionalProperties)) made = list(base.additionalProperties, form, path, label, true);
  else if (base.type === 'array' && isObject(base.items)) made = list(base.items, form, path, label, false, base.minItems);
  else if (base.type === 'null') made = {node: el('span', {className: 'hint'}, 'no value'), json: () => 'null', set() {}};
  else made = line(base, label);
  const reason = el('p', {className: 'reason', role: 'alert', id: 'reason' + ++labels, hidden: true});
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
  return el('div', {className: 'field'},
    el('label', {htmlFor: input.id}, el('bdi', {}, label)), input,
    hint ? el('span', {className: 'hint'}, hint) : undefined);
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
  const set = value => { input.value = isValue ? toJson(value, 1) : value === null ? '' : String(value); };
  const examples = schema.examples ? `such as ${schema.examples.join(', ')}` : range(schema);
  return {node: labelled(label, input, isValue ? 'JSON' : isText && !schema.description && !schema.examples ? '' : examples), json, set};
}
function flag(label) {
  const input = el('input', {type: 'checkbox'});
  return {node: labelled(label, input), json: () => String(input.checked), set: value => { input.checked = value === true; }};
}
function choice(schema, label) {
  const input = el('select', {}, ...schema.enum.map((each, i) => el('option', {value: String(i)}, String(each))));
  return {node: labelled(label, input), json: () => toJson(schema.enum[Number(input.value)]),
    set: value => { input.value = String(Math.max(0, schema.enum.indexOf(value))); }};
}
// One of several schemas. An editor is built when it is chosen, because a type may contain itself.
function alternatives(schema, form, path, label) {
  const nameOf = (each, i) => each.title || (each.$ref || '').split('/').pop() || each.type ||
    Object.keys(each.properties || {})[0] || `alternative ${i + 1}`;
  const input = el('select', {}, ...schema.anyOf.map((each, i) => el('option', {value: String(i)}, nameOf(each, i))));
  const place = el('div', {});
  let inner;
  const build = () => {
    inner = editor(schema.anyOf[Number(input.value)], {...form, fields: form.fields}, path + ' ', 'value');
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
  return {node: el('fieldset', {}, el('legend', {}, el('bdi', {}, label)), ...members.map(each => each.node)), json, set};
}
// A member that is not required is left out unless its box is checked.
function member(schema, form, path, name, isRequired) {
  let inner;
  const place = el('div', {});
  const build = () => {
    inner = inner || editor(schema, form, path, name);
    place.replaceChildren(inner.node);
  };
  if (isRequired) {
    build();
    return {name, node: place, isIncluded: () => true, json: () => inner.json(),
      set: value => { if (value !== undefined) inner.set(value); }};
  }
  const box = el('input', {type: 'checkbox', ariaLabel: `include ${name}`});
  const included = el('label', {className: 'hint'}, box, ' set');
  box.oninput = () => { if (box.checked) build(); else place.replaceChildren(el('bdi', {className: 'hint'}, name)); };
  box.oninput();
  const set = value => {
    box.checked = value !== undefined;
    box.oninput();
    if (box.checked) inner.set(value);
  };
  return {name, node: el('div', {className: 'optional'}, included, place), isIncluded: () => box.checked, json: () => inner.json(), set};
}
// The elements of an array, or the entries of a map.
function list(schema, form, path, label, isMap, size) {
  const rows = [];
  const body = el('div', {});
  const add = (value, key) => {
    const row = {key: el('input', {value: key || '', ariaLabel: 'key', dir: 'auto'})};
    const place = isMap ? `${path}.${key || ''}` : `${path}[${rows.length}]`;
    row.editor = editor(schema, form, path || !isMap ? place : key || '', isMap ? 'value' : `[${rows.length}]`);
    if (value !== undefined) row.editor.set(value);
    row.node = el('div', {className: 'row'}, isMap ? row.key : undefined, row.editor.node,
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
  return {node: el('fieldset', {}, el('legend', {}, el('bdi', {}, label)), body,
    button('Add', () => { add(); changed(body); })), json, set};
}
const changed = node => node.dispatchEvent(new Event('input', {bubbles: true}));

// Shows a reason beside the field that it begins with ("zone.level: expected ..."), or else beside
// the whole form. Without a reason, removes it.
function showReason(form, reason) {
  for (const field of form.fields.values()) {
    field.reason.hidden = true;
    for (const input of field.node.querySelectorAll('[aria-invalid]')) {
      input.removeAttribute('aria-invalid');
      input.removeAttribute('aria-describedby');
    }
  }
  if (!reason) return;
  let path = '';
  for (const known of form.fields.keys()) {
    const isPrefix = reason.startsWith(known) && /^[:.[]/.test(reason.slice(known.length));
    if (known.length > path.length && isPrefix) path = known;
  }
  const field = form.fields.get(path);
  field.reason.textContent = reason;
  field.reason.hidden = false;
  const input = field.node.querySelector('input:not([type=checkbox]), textarea, select') || field.node.querySelector('input');
  if (!input) return;
  input.setAttribute('aria-invalid', 'true');
  input.setAttribute('aria-describedby', field.reason.id);
  input.focus();
}

// --- Commands to copy -----------------------------------------------------------------------------

const quoted = text => /^[\w@%+=:,./-]+$/.test(text) ? text : `'${text.replaceAll("'", "'\\''")}'`;
function curlCommand(command, locator, body, streams) {
  const method = METHODS[command];
  const parts = ['curl'];
  if (streams) parts.push('-N', '-H', "'Accept: text/event-stream'");
  if (method !== 'GET' || body !== undefined) parts.push('-X', method);
  if (body !== undefined) parts.push('-H', "'Content-Type: application/json'", '-d', quoted(body));
  return [...parts, quoted(location.origin + urlOf(locator))].join(' ');
}
function kovaCommand(word, locator, body) {
  const target = quoted(`tcp:${location.hostname}:${location.port || 80}$${locator}`);
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
  return el('div', {className: 'command'}, code, copy);
}
function commandsOf(command, locator, body, streams) {
  const rows = [copyable(curlCommand(command, locator, body), 'curl')];
  if (command !== 'retrieve' || body === undefined) rows.push(copyable(kovaCommand(WORDS[command], locator, body), 'kova'));
  if (streams) {
    rows.push(copyable(curlCommand(command, locator, body, true), 'curl stream'),
      copyable(kovaCommand('watch', locator), 'kova watch'));
  }
  return rows;
}

// --- View of a resource ---------------------------------------------------------------------------

const ANY = {retrieve: {streams: true, schemas: {}}, update: {schemas: {body: {}}},
  insert: {schemas: {body: {}}}, delete: {schemas: {}}};

// Returns the inputs for the parameters of a template such as "/tracks/{id:uint}", and a function
// that returns the locator with their values.
function parametersOf(template) {
  const inputs = new Map();
  const nodes = [];
  for (const [whole, name, type] of template.matchAll(/\{([^}:]*):?([^}]*)\}/g)) {
    const input = el('input', {spellcheck: false, autocomplete: 'off', dir: 'auto'});
    nodes.push(labelled(name, input, type === 'rest' ? 'any path' : type));
    inputs.set(whole, input);
  }
  const locator = () => template.replace(/\{[^}]*\}/g, whole => inputs.get(whole) ? inputs.get(whole).value : whole);
  const isComplete = () => [...inputs.values()].every(input => input.value !== '');
  return {nodes, locator, isComplete};
}
function resourceView(locator) {
  const known = resources.get(locator);
  const below = [...resources.keys()].filter(each => each !== locator && each.startsWith(locator.replace(/\/$/, '') + '/'));
  const view = el('section', {ariaLabel: locator}, el('h2', {}, el('bdi', {}, locator)));
  if (known || below.length === 0) {
    const operations = known && known.operations || ANY;
    const parameters = known && known.operations ? parametersOf(locator)
      : {nodes: [], locator: () => locator, isComplete: () => true};
    if (parameters.nodes.length) view.append(el('div', {className: 'panel'}, el('h3', {}, 'Parameters'), ...parameters.nodes));
    const context = {operations, parameters, hasSchemas: Boolean(known && known.operations), forms: []};
    if (operations.retrieve) view.append(readPanel(context, operations.retrieve));
    for (const command of ['update', 'insert', 'delete']) {
      if (operations[command]) view.append(writePanel(context, command, operations[command]));
    }
    const others = Object.keys(operations).filter(command => !METHODS[command]);
    if (others.length) view.append(el('p', {className: 'hint'}, 'Not available over HTTP: ', el('bdi', {}, others.join(', '))));
  }
  if (below.length) view.append(belowPanel(below));
  return view;
}
function belowPanel(below) {
  const streams = below.filter(each => !each.includes('{') && canStream(each));
  return el('div', {className: 'panel'}, el('h3', {}, 'Below'),
    streams.length ? button(`Watch all ${streams.length}`, () => { streams.forEach(watch); location.hash = '#!watched'; }) : undefined,
    el('ul', {}, ...below.slice(0, ROWS).map(each => el('li', {}, el('a', {href: hashOf(each)}, el('bdi', {}, each))))));
}
function canStream(locator) {
  const known = resources.get(locator);
  return Boolean(known && (!known.operations || known.operations.retrieve && known.operations.retrieve.streams));
}
// Keeps a list of commands equal to what the forms contain.
function commandList(parameters, command, body, streams) {
  const list = el('div', {className: 'commands'});
  const update = () => list.replaceChildren(...commandsOf(command, parameters.locator(), body(), streams));
  update();
  return {node: el('details', {}, el('summary', {}, 'Commands'), list), update};
}
function readPanel(context, operation) {
  const {parameters} = context;
  const bodySchema = operation.schemas.body;
  const form = {root: bodySchema || {}, fields: new Map()};
  const body = bodySchema ? editor(bodySchema, form, '', 'body') : undefined;
  const commands = commandList(parameters, 'retrieve', () => body && body.json(), operation.streams);
  const status = el('p', {role: 'status'});
  const output = el('div', {className: 'value', tabIndex: 0, role: 'region', ariaLabel: 'Value'});
  const watching = el('div', {});
  let abort;
  const readButton = button('Read', () => read(), {className: 'read', disabled: Boolean(body)});
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
    status.textContent = answer.ok ? String(answer.status) : `${answer.status || ''} ${answer.reason}`;
    status.className = answer.ok ? '' : 'bad';
    if (!answer.ok) return;
    output.replaceChildren(...(answer.text === undefined ? [] : [show(answer.value), rawText(answer), ...childLinks(context, answer.value)]));
    for (const set of context.forms) set(answer.value);
  }
  const watchButton = button('Watch', () => toggle(), {className: 'watch'});
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
  const panel = el('div', {className: 'panel'}, el('h3', {}, 'Value'),
    el('div', {className: 'buttons'}, readButton, cancel, operation.streams ? watchButton : undefined), status,
    body ? el('p', {className: 'hint'}, 'Browsers cannot send this request, because it has a body. Use the command.') : undefined,
    body ? body.node : undefined, output, watching, commands.node);
  queueMicrotask(() => panel.parentElement.addEventListener('input', () => { commands.update(); showWatch(); }));
  if (!body && parameters.isComplete()) read();
  return panel;
}
const rawText = answer => el('details', {}, el('summary', {}, 'JSON'),
  el('pre', {}, isObject(answer.value) ? toJson(answer.value, 2) : answer.text));
// Without schemas, the names in a list may be those of resources below.
function childLinks(context, value) {
  const isList = !context.hasSchemas && Array.isArray(value) && value.length > 0 && value.length <= ROWS &&
    value.every(each => typeof each === 'string' && each !== '' && !each.includes('/'));
  const base = context.parameters.locator().replace(/\/$/, '');
  return isList ? [el('ul', {ariaLabel: 'Resources below'}, ...value.map(each =>
    el('li', {}, el('a', {href: hashOf(base + '/' + each)}, el('bdi', {}, base + '/' + each)))))] : [];
}
function writePanel(context, command, operation) {
  const {parameters} = context;
  const schema = operation.schemas.body;
  const form = {root: schema || {}, fields: new Map()};
  const whole = schema ? editor(schema, form, '', 'value') : undefined;
  if (!whole) form.fields.set('', {reason: el('p', {className: 'reason', role: 'alert', hidden: true}), node: el('div')});
  const body = () => whole && whole.json();
  const commands = commandList(parameters, command, body, false);
  const status = el('p', {role: 'status'});
  const label = command[0].toUpperCase() + command.slice(1);
  let isArmed = command !== 'delete';
  const submit = el('button', {type: 'submit'}, label);
  const node = el('form', {className: 'panel ' + command, noValidate: true}, el('h3', {}, label),
    whole ? whole.node : form.fields.get('').reason, el('div', {className: 'buttons'}, submit), status, commands.node);
  node.onsubmit = async event => {
    event.preventDefault();
    if (!isArmed) {
      isArmed = true;
      submit.textContent = 'Press again to delete';
      setTimeout(() => { isArmed = false; submit.textContent = label; }, 4000);
      return;
    }
    showReason(form, '');
    status.textContent = 'sending';
    const answer = await send(command, parameters.locator(), body());
    status.textContent = answer.ok ? `${answer.status} done` : `${answer.status || ''} refused`;
    status.className = answer.ok ? '' : 'bad';
    if (!answer.ok) return showReason(form, answer.reason);
    if (answer.text) status.append(': ', show(answer.value));
    if (command === 'update' && context.read && context.operations.retrieve && !context.operations.retrieve.schemas.body) context.read();
  };
  queueMicrotask(() => node.parentElement.addEventListener('input', commands.update));
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

// --- Watched resources ----------------------------------------------------------------------------

const watches = new Map();
let source, opening;

function watch(locator) {
  if (watches.has(locator)) return;
  if (watches.size >= MOST_WATCHES) return notice(`At most ${MOST_WATCHES} resources are watched.`);
  const own = {locator, values: [], count: 0, logged: 0, state: 'waiting', ended: false, dirty: true, width: 0};
  own.status = el('p', {role: 'status', className: 'hint'});
  own.output = el('output', {});
  own.member = el('select', {ariaLabel: 'member of the chart', hidden: true, onchange: () => { own.dirty = true; }});
  own.canvas = el('canvas', {role: 'img', hidden: true});
  own.log = el('ol', {className: 'log', role: 'log', ariaLive: 'off', tabIndex: 0, ariaLabel: 'Values', hidden: true});
  own.panel = el('article', {className: 'panel watch', ariaLabel: `watch of ${locator}`},
    el('h3', {}, el('a', {href: hashOf(locator)}, el('bdi', {}, locator))),
    el('div', {className: 'buttons'}, button('Stop', () => { unwatch(locator); route(); })),
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

// Opens one stream for all watched paths a little later, so that several changes need one stream.
function streamSoon(delay = 50) {
  byId('count').textContent = watches.size ? `(${watches.size})` : '';
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
    if (isRefused) explainRefusal(url, live); else beat().then(() => streamSoon(1000));
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
  own.values.push('value' in data ? data.value : data.text ?? (data.base64 === undefined ? null : `${data.type}: ${data.base64}`));
  if (own.values.length > POINTS) own.values.shift();
  ++own.count;
  setState(own, 'live');
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
  } catch (error) { beat(); }
}

// Returns the names of the members of a value that are numbers; "" for a number itself.
function numbersIn(value, name = '', depth = 0) {
  if (isNumber(value)) return [name];
  if (!isObject(value) || Array.isArray(value) || depth > 2) return [];
  return Object.entries(value).slice(0, 20).flatMap(([key, each]) => numbersIn(each, name ? `${name}.${key}` : key, depth + 1));
}
function memberOf(value, name) {
  if (name === '') return isNumber(value) ? Number(value) : NaN;
  const at = isObject(value) ? Object.keys(value).find(key => name === key || name.startsWith(key + '.')) : undefined;
  return at === undefined ? NaN : memberOf(value[at], name.slice(at.length + 1));
}
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
function setText(node, text) {
  if (!node.firstChild) node.append('');
  if (node.firstChild.data !== text) node.firstChild.data = text;
}
function paintWatch(own) {
  const last = own.values[own.values.length - 1];
  // A status that is read out changes only with the state, not with each value.
  setText(own.status, own.state);
  if (!own.count) return;
  const names = numbersIn(last);
  own.canvas.hidden = names.length === 0;
  own.member.hidden = names.length < 2;
  own.log.hidden = !own.canvas.hidden;
  if (own.canvas.hidden) {
    setText(own.output, short(last));
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
  own.log.prepend(...own.values.slice(-added).reverse().map(value => el('li', {}, el('bdi', {}, short(value)))));
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
  ink = ink || getComputedStyle(document.documentElement).getPropertyValue('--accent').trim();
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
  if (!watches.size) view.append(el('p', {className: 'hint'}, 'Open a resource and press Watch.'));
  else view.append(button('Stop all', () => { [...watches.keys()].forEach(unwatch); route(); }));
  view.append(el('div', {className: 'grid'}, ...[...watches.values()].map(own => own.panel)));
  return view;
}

// --- Inspection -----------------------------------------------------------------------------------

let poll;

// Returns a view that reads a path of the inspection of each service, and shows it with `fill`.
function inspectionView(title, name, fill, repeats) {
  const view = el('section', {ariaLabel: title}, el('h2', {}, title));
  const parts = prefixes.map(prefix => ({prefix, body: el('div', {})}));
  for (const part of parts) {
    view.append(el('div', {className: 'panel'}, part.prefix ? el('h3', {}, el('bdi', {}, part.prefix)) : '', part.body,
      el('details', {}, el('summary', {}, 'Commands'), el('div', {className: 'commands'}, ...commandsOf('retrieve', `${part.prefix}/.kova/${name}`)))));
  }
  const refresh = async () => {
    await Promise.all(parts.map(async part => {
      const answer = await send('retrieve', `${part.prefix}/.kova/${name}`);
      if (answer.ok) fill(part, answer.value, refresh);
      else part.body.replaceChildren(el('p', {className: 'bad'}, `not available: ${answer.reason}`));
    }));
    if (repeats && view.isConnected) poll = setTimeout(refresh, POLL_INTERVAL);
  };
  queueMicrotask(refresh);
  return view;
}
function fillPending(part, calls) {
  part.body.replaceChildren(calls.length === 0 ? el('p', {className: 'hint'}, 'no request is pending')
    : table(['path', 'command', 'client', 'age', 'phase', 'thread'], calls.slice(0, ROWS).map(call =>
      [call.path, call.command, call.client, `${call.ageMs} ms`, call.phase, call.thread || ''])),
  calls.length > ROWS ? more(calls.length - ROWS) : '');
}
function fillMetrics(part, text) {
  const samples = String(text).split('\n').filter(each => each && !each.startsWith('#'))
    .map(each => /^([^\s{]+)(\{.*\})?\s+(\S+)/.exec(each)).filter(each => each);
  part.body.replaceChildren(table(['metric', 'labels', 'value'], samples.map(each => [each[1], each[2] || '', each[3]])));
}
// The levels are those of the traces: 0 writes everything, 7 nothing.
function fillTraces(part, channels, refresh) {
  const reason = el('p', {className: 'reason', role: 'alert', hidden: true});
  const change = async (pattern, level) => {
    const answer = await send('update', `${part.prefix}/.kova/trace`, JSON.stringify({pattern, level}));
    if (answer.ok) return refresh();
    reason.textContent = answer.reason;
    reason.hidden = false;
  };
  const levels = (label, value, onchange) => el('select', {ariaLabel: label, onchange},
    ...[0, 1, 2, 3, 4, 5, 6, 7].map(level => el('option', {value: String(level), selected: level === value}, String(level))));
  const pattern = el('input', {spellcheck: false, placeholder: 'KOVA_*', ariaLabel: 'pattern of channels'});
  const all = levels('level', 7);
  const form = el('form', {className: 'row', noValidate: true}, pattern, all, el('button', {type: 'submit'}, 'Set levels'));
  form.onsubmit = event => { event.preventDefault(); change(pattern.value, Number(all.value)); };
  part.body.replaceChildren(el('p', {className: 'hint'}, '0 writes everything, 7 nothing. In a pattern * matches any text.'), form, reason,
    table(['channel', 'level'], channels.map(({name, level}) =>
      [name, levels(`level of ${name}`, level, event => change(name, Number(event.target.value)))])));
}

// --- Start ----------------------------------------------------------------------------------------

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
  clearTimeout(poll);
  // A browser has few connections: a resource that does not answer must not keep one.
  for (const each of reading) each.abort();
  const isView = Object.hasOwn(VIEWS, hash);
  current = isView ? '' : decodeHash();
  for (const link of byId('views').children) {
    const isCurrent = isView ? link.hash === hash : link.hash === '#/';
    if (isCurrent) link.setAttribute('aria-current', 'page'); else link.removeAttribute('aria-current');
  }
  byId('content').replaceChildren(isView ? VIEWS[hash]() : resourceView(current.startsWith('/') ? current : '/'));
  for (const own of watches.values()) own.dirty = true;
  markCurrent();
}
byId('tree').addEventListener('keydown', onTreeKey);
byId('tree').addEventListener('click', onTreeClick);
byId('path').addEventListener('input', showTree);
byId('find').addEventListener('submit', event => {
  event.preventDefault();
  const path = byId('path').value.trim();
  if (path.startsWith('/')) location.hash = hashOf(path);
});
matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => { ink = undefined; });
addEventListener('hashchange', route);
document.addEventListener('visibilitychange', () => { if (!document.hidden) beat(); });
setInterval(paint, PAINT_INTERVAL);
beat();
load();
