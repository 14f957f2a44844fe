// The analyst's console. Every figure comes from the query API with the
// bearer token, and every text from a device is put into the page with
// textContent, never parsed as HTML: device names and session identifiers
// are chosen by whoever sends a profile.
'use strict';

const view = document.getElementById('view');

// --- Token --------------------------------------------------------------
// Given once in the address's fragment (#/path?token=...), which browsers
// never send to a server, or typed into the form; kept for the tab only.
function takeTokenFromAddress() {
  const [path, query] = location.hash.slice(1).split('?');
  const token = new URLSearchParams(query || '').get('token');
  if (token) {
    sessionStorage.setItem('token', token);
    history.replaceState(null, '', '#' + (path || '/'));
  }
}

class Unauthorized extends Error {}

async function api(path) {
  const token = sessionStorage.getItem('token');
  if (!token) throw new Unauthorized();
  const response = await fetch('/api/profiler/' + path, {
    headers: { Authorization: 'Bearer ' + token },
    cache: 'no-store',
  });
  if (response.status === 401) throw new Unauthorized();
  if (response.status === 404) return null;
  if (!response.ok) throw new Error('the service answered ' + response.status);
  return response.json();
}

// --- Building the page ----------------------------------------------------
function el(tag, attributes, ...children) {
  const node = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes || {})) node.setAttribute(name, value);
  for (const child of children) {
    if (child === null || child === undefined) continue;
    node.append(child instanceof Node ? child : document.createTextNode(String(child)));
  }
  return node;
}

function link(route, text) {
  return el('a', { href: '#/' + route.map(encodeURIComponent).join('/') }, text);
}

// A decoded value as text: null is "none", objects as compact JSON.
function show(value) {
  if (value === null || value === undefined) return el('span', { class: 'none' }, 'none');
  if (Array.isArray(value)) return value.length ? value.map((v) => (v === null ? '(none)' : String(v))).join(', ') : 'none';
  if (typeof value === 'object') return JSON.stringify(value);
  return String(value);
}

function list(pairs) {
  const dl = el('dl');
  for (const [name, value] of pairs) dl.append(el('dt', {}, name), el('dd', {}, value));
  return dl;
}

function table(headings, rows) {
  if (rows.length === 0) return el('p', { class: 'none' }, 'Nothing yet.');
  const body = el('tbody');
  for (const row of rows) body.append(el('tr', {}, ...row.map((cell) => el('td', {}, cell))));
  return el('table', {}, el('thead', {}, el('tr', {}, ...headings.map((h) => el('th', {}, h)))), body);
}

function card(title, ...content) {
  return el('section', { class: 'card' }, el('h2', {}, title), ...content);
}

function time(text) {
  return text ? new Date(text).toLocaleString() + ' (' + text + ')' : '';
}

// --- Views -----------------------------------------------------------------
async function recent() {
  const params = new URLSearchParams(location.hash.split('?')[1] || '');
  const query = new URLSearchParams({ limit: '100' });
  if (params.get('app')) query.set('app', params.get('app'));
  const receptions = await api('receptions?' + query);
  return [card('Recent receptions' + (params.get('app') ? ' of ' + params.get('app') : ''),
    table(['Received', 'App', 'Session', 'Device', 'Model', 'Battery', 'Undecoded'],
      receptions.map((r) => [
        time(r.receivedAt), el('a', { href: '#/?app=' + encodeURIComponent(r.app) }, r.app),
        link(['session', r.sessionId], r.sessionId),
        r.profile.DeviceGeneratedId ? link(['device', r.profile.DeviceGeneratedId], r.profile.DeviceGeneratedId) : show(null),
        show(r.profile.DeviceModel), batteryText(r.profile.Battery),
        r.undecoded.length ? el('span', { class: 'undecoded' }, r.undecoded.join(', ')) : '',
      ])))];
}

function batteryText(battery) {
  if (!battery || typeof battery !== 'object') return show(battery);
  return battery.state + (battery.level === null ? '' : ', ' + battery.level + ' %');
}

function profileCards(reception) {
  const p = reception.profile;
  const undecoded = new Set(reception.undecoded);
  const value = (key) => undecoded.has(key)
    ? el('span', { class: 'undecoded', title: 'could not be decoded; shown as sent' }, String(p[key]))
    : show(p[key]);
  const location = p.Location && typeof p.Location === 'object' ? p.Location : null;
  const voip = Array.isArray(p.CarrierAllowsVoip)
    ? p.CarrierAllowsVoip.map((c) => (c.carrier === null ? '(no name)' : c.carrier) + ': ' + (c.allowsVoip ? 'allows VoIP' : 'no VoIP')).join('; ')
    : value('CarrierAllowsVoip');
  const known = new Set(['Battery', 'BatteryInfo', 'Location', 'ConnectedViaWifi', 'ConnectedVia3G', 'SSID',
    'Carrier', 'CarrierAllowsVoip', 'DeviceGeneratedId', 'VisitorIdentifierForVendor', 'AdvertisingId']);
  return el('div', { class: 'grid' },
    card('Battery', list([['State', p.Battery && typeof p.Battery === 'object' ? p.Battery.state : value('Battery')],
      ['Level', p.Battery && typeof p.Battery === 'object' ? (p.Battery.level === null ? show(null) : p.Battery.level + ' %') : '']])),
    card('Location', location
      ? list([['Latitude', show(location.latitude)], ['Longitude', show(location.longitude)],
        ['Altitude', show(location.altitude)], ['Accuracy', show(location.horizontalAccuracy) + ' m'],
        ['Course', show(location.course)], ['Speed', show(location.speed)], ['Floor', show(location.floor)],
        ['Time as sent', show(location.timestamp)], ['Time', show(location.timestampRfc3339)]])
      : el('p', { class: 'none' }, p.Location === null ? 'No location.' : value('Location'))),
    card('Network', list([['Wi-Fi', value('ConnectedViaWifi')], ['Cellular', value('ConnectedVia3G')],
      ['SSID', value('SSID')]])),
    card('Carriers', list([['Carriers', Array.isArray(p.Carrier) ? p.Carrier.map((c) => c === null ? '(no name)' : c).join(', ') || 'none' : value('Carrier')],
      ['VoIP', voip]])),
    card('Identifiers', list([
      ['DeviceGeneratedId', p.DeviceGeneratedId ? link(['device', p.DeviceGeneratedId], p.DeviceGeneratedId) : value('DeviceGeneratedId')],
      ['VisitorIdentifierForVendor', p.VisitorIdentifierForVendor ? link(['vendor', p.VisitorIdentifierForVendor], p.VisitorIdentifierForVendor) : value('VisitorIdentifierForVendor')],
      ['AdvertisingId', value('AdvertisingId')]])),
    card('Device', list(Object.keys(p).filter((k) => !known.has(k)).sort().map((k) => [k, value(k)]))));
}

async function session(id) {
  const receptions = await api('sessions/' + encodeURIComponent(id));
  if (receptions === null) return [card('Session ' + id, el('p', { class: 'none' }, 'No profile was received for this session.'))];
  const parts = [el('h2', {}, 'Session ' + id)];
  receptions.forEach((r, i) => {
    parts.push(card('Reception ' + (i + 1) + ' of ' + receptions.length + ': ' + time(r.receivedAt),
      list([['App', r.app], ['Undecoded keys', r.undecoded.length ? el('span', { class: 'undecoded' }, r.undecoded.join(', ')) : 'none']]),
      profileCards(r),
      el('details', {}, el('summary', {}, 'Body as received'), el('pre', { class: 'raw' }, r.raw))));
  });
  return parts;
}

async function deviceHistory(kind, id) {
  const sessions = await api((kind === 'device' ? 'devices/' : 'vendors/') + encodeURIComponent(id) + '/sessions');
  const name = kind === 'device' ? 'DeviceGeneratedId' : 'VisitorIdentifierForVendor';
  return [card('Sessions of ' + name + ' ' + id,
    table(['Session', 'App', 'First received', 'Last received', 'Receptions'],
      sessions.map((s) => [link(['session', s.sessionId], s.sessionId), s.app, time(s.firstReceivedAt),
        time(s.lastReceivedAt), String(s.receptions)])))];
}

async function signals() {
  const [devices, sessions, changes] = await Promise.all([
    api('signals/devices-with-many-sessions'), api('signals/sessions-on-many-devices'),
    api('signals/identifier-changes')]);
  const kinds = {
    'vendor-device-ids': ['VisitorIdentifierForVendor', 'vendor', 'device'],
    'device-vendor-ids': ['DeviceGeneratedId', 'device', 'vendor'],
    'device-advertising-ids': ['DeviceGeneratedId', 'device', null],
  };
  return [
    card('Devices seen under many sessions (last 7 days)',
      table(['DeviceGeneratedId', 'Sessions', 'First', 'Last'],
        devices.map((d) => [link(['device', d.deviceGeneratedId], d.deviceGeneratedId), String(d.sessions), time(d.firstReceivedAt), time(d.lastReceivedAt)]))),
    card('Sessions seen on many devices (last 7 days)',
      table(['Session', 'Devices', 'First', 'Last'],
        sessions.map((s) => [link(['session', s.sessionId], s.sessionId), String(s.devices), time(s.firstReceivedAt), time(s.lastReceivedAt)]))),
    card('Identifiers that changed (last 7 days)',
      table(['Identifier', 'Seen with'],
        changes.map((c) => {
          const [name, route, valueRoute] = kinds[c.kind] || [c.kind, null, null];
          const values = el('span');
          c.values.forEach((v, i) => values.append(i ? ', ' : '', valueRoute ? link([valueRoute, v], v) : v));
          return [el('span', {}, name + ' ', route ? link([route, c.identifier], c.identifier) : c.identifier), values];
        }))),
  ];
}

function tokenForm() {
  const form = document.getElementById('token-form').content.cloneNode(true);
  form.querySelector('form').addEventListener('submit', (event) => {
    event.preventDefault();
    sessionStorage.setItem('token', document.getElementById('token-value').value.trim());
    route();
  });
  return [form];
}

async function route() {
  takeTokenFromAddress();
  const path = location.hash.slice(1).split('?')[0].split('/').filter(Boolean).map(decodeURIComponent);
  view.dataset.view = path[0] || 'recent';
  try {
    let parts;
    if (path[0] === 'session' && path[1] !== undefined) parts = await session(path[1]);
    else if ((path[0] === 'device' || path[0] === 'vendor') && path[1] !== undefined) parts = await deviceHistory(path[0], path[1]);
    else if (path[0] === 'signals') parts = await signals();
    else parts = await recent();
    view.replaceChildren(...parts);
  } catch (error) {
    if (error instanceof Unauthorized) {
      sessionStorage.removeItem('token');
      view.dataset.view = 'token';
      view.replaceChildren(...tokenForm());
    } else {
      view.replaceChildren(el('p', { class: 'error' }, 'Could not load this view: ' + error.message));
    }
  }
  view.dataset.ready = 'true';
}

document.getElementById('lookup').addEventListener('submit', (event) => {
  event.preventDefault();
  const value = document.getElementById('lookup-value').value.trim();
  if (value) location.hash = '#/' + document.getElementById('lookup-kind').value + '/' + encodeURIComponent(value);
});
document.getElementById('sign-out').addEventListener('click', () => {
  sessionStorage.removeItem('token');
  route();
});
window.addEventListener('hashchange', route);
route();
