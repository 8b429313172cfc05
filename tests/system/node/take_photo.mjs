// A peer that speaks MAVLink with node-mavlink only. Runs on the peer's side of a virtual board: counts
// the camera module's heartbeats, takes a photo with COMMAND_LONG, waits for the acknowledgement.
// Prints one JSON object per line as things happen; status 0 when the acknowledgement has come.
import dgram from 'node:dgram'
import { PassThrough } from 'node:stream'
import { MavLinkProtocolV1, createMavLinkStream, common, minimal } from 'node-mavlink'

const CAMERA = { port: 8888, address: '192.168.31.1' }
const TAKE_PHOTO = { command: 2, action: 1, acknowledged_as: 2001 }

const socket = dgram.createSocket('udp4')
const bytes = new PassThrough()
const protocol = new MavLinkProtocolV1(9, 1)
let sequence = 0
let heartbeats = 0
let asked = false

const say = (what) => console.log(JSON.stringify(what))
const send = (message) =>
  socket.send(protocol.serialize(message, sequence++ & 255), CAMERA.port, CAMERA.address)

function sendHeartbeat() {
  const message = new minimal.Heartbeat()
  message.mavlinkVersion = 3
  send(message)
}

function takePhoto() {
  const message = new common.CommandLong()
  message.command = TAKE_PHOTO.command
  message._param1 = TAKE_PHOTO.action
  send(message)
  say({ asked: 'photo' })
}

function onPacket(packet) {
  const { msgid, sysid } = packet.header
  if (msgid === minimal.Heartbeat.MSG_ID) {
    const { systemStatus, mavlinkVersion } = packet.protocol.data(packet.payload, minimal.Heartbeat)
    say({ heartbeat: ++heartbeats, sysid, systemStatus, mavlinkVersion })
    if (heartbeats >= 2 && !asked) {
      asked = true
      takePhoto()
    }
  } else if (msgid === common.CommandAck.MSG_ID) {
    const { command, result } = packet.protocol.data(packet.payload, common.CommandAck)
    say({ acknowledgement: command, result, sysid })
    if (command === TAKE_PHOTO.acknowledged_as) process.exit(0)
  }
}

createMavLinkStream(bytes, { onCrcError: () => say({ error: 'checksum' }) }).on('data', onPacket)
socket.on('message', (message) => bytes.write(message))
socket.bind(8888, '192.168.31.111', () => {
  sendHeartbeat()
  setInterval(sendHeartbeat, 500)
})
setTimeout(() => {
  say({ error: 'no acknowledgement' })
  process.exit(1)
}, 40000)
