// What tamsell-hook does, as a script: posts standard input and prints the reply.
const body = require("node:fs").readFileSync(0);
const request = require("node:http").request(
  {
    host: "127.0.0.1",
    port: Number(process.argv[2]),
    path: "/hook",
    method: "POST",
    headers: { "content-length": body.length },
  },
  (response) => response.pipe(process.stdout),
);
request.end(body);
