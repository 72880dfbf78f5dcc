// The studio server's API. Every failure becomes an Error whose message is
// what the server said, or that the connection is lost.
export class ConnectionLost extends Error {}

async function call(method, path, body) {
  let response;
  try {
    response = await fetch(path, {
      method,
      headers: body === undefined ? {} : { 'Content-Type': 'application/json' },
      body: body === undefined ? undefined : JSON.stringify(body),
    });
  } catch (error) {
    throw new ConnectionLost(`Lost the connection to the studio server (${error.message})`);
  }
  let answer = null;
  try {
    answer = await response.json();
  } catch {
    throw new Error(`The server answered ${response.status} without JSON`);
  }
  if (!response.ok) throw new Error(answer && answer.error ? answer.error : `The server answered ${response.status}`);
  return answer;
}

export const api = {
  palette: () => call('GET', '/api/palette'),
  state: () => call('GET', '/api/state'),
  pictures: () => call('GET', '/api/pictures'),
  addNode: (node) => call('POST', '/api/nodes', node),
  updateNode: (id, changes) => call('POST', `/api/nodes/${encodeURIComponent(id)}`, changes),
  removeNode: (id) => call('DELETE', `/api/nodes/${encodeURIComponent(id)}`),
  connect: (from, to, port) => call('POST', '/api/wires', { from, to, port }),
  disconnect: (to, port) => call('POST', '/api/wires/remove', { to, port }),
  setOutput: (id) => call('POST', `/api/output/${encodeURIComponent(id)}`),
  panel: (id) => call('GET', `/api/nodes/${encodeURIComponent(id)}/panel`),
  answerPanel: (id, values, hit) => call('POST', `/api/nodes/${encodeURIComponent(id)}/panel`, { values, hit }),
  newPatch: () => call('POST', '/api/new'),
  load: (path) => call('POST', '/api/load', { path }),
  save: (path) => call('POST', '/api/save', { path }),
};

// One preview frame as an object URL; throws with the server's message.
export async function fetchPreview(id, time, width, height, format) {
  const query = new URLSearchParams({ t: String(time), w: String(width), h: String(height), format });
  let response;
  try {
    response = await fetch(`/api/preview/${encodeURIComponent(id)}?${query}`);
  } catch (error) {
    throw new ConnectionLost(`Lost the connection to the studio server (${error.message})`);
  }
  if (!response.ok) {
    let message = `Preview failed (${response.status})`;
    try {
      const answer = await response.json();
      if (answer.error) message = answer.error;
    } catch {
      /* keep the status */
    }
    throw new Error(message);
  }
  return URL.createObjectURL(await response.blob());
}
