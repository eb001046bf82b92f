# What tamsell-hook does, as a script: posts standard input and prints the reply.
import http.client
import sys

connection = http.client.HTTPConnection("127.0.0.1", int(sys.argv[1]))
connection.request("POST", "/hook", sys.stdin.buffer.read())
sys.stdout.buffer.write(connection.getresponse().read())
