// Calls of the server's routes.

export class Refused extends Error {}

const LONGEST_WAIT = 30; // seconds

// Gives the answer's JSON, or null where there is none. A server that says "try again" (503) is
// asked again after the time that it names; any other refusal raises Refused with its reason.
export async function call(method, path, body) {
  const request = { method };
  if (body !== undefined) {
    request.headers = { "Content-Type": "application/json" };
    request.body = JSON.stringify(body);
  }
  for (let attempt = 1; ; attempt += 1) {
    const answer = await fetch(path, request);
    if (answer.status === 503 && attempt < 4) {
      const seconds = Math.min(Number(answer.headers.get("Retry-After")) || 1, LONGEST_WAIT);
      await new Promise((resume) => setTimeout(resume, seconds * 1000));
      continue;
    }
    if (answer.ok) return answer.status === 204 ? null : answer.json();
    throw new Refused(await reason(answer));
  }
}

export function get(path, parameters = {}) {
  const query = new URLSearchParams(parameters).toString();
  return call("GET", query ? `${path}?${query}` : path);
}

async function reason(answer) {
  try {
    const { detail } = await answer.json();
    return typeof detail === "string" ? detail : detail.map((each) => each.msg).join("; ");
  } catch {
    return `the server answers ${answer.status}`;
  }
}
