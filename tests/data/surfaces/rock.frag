#version 450
layout(location = 0) in vec3 vPosition;
layout(location = 1) in vec3 vNormal;
layout(location = 2) in vec3 vToLight;
layout(set = 0, binding = 1) uniform Material {
    vec3 light;
    float sharpness;
};
layout(set = 0, binding = 2) uniform sampler2D map;
layout(location = 0) out vec4 colour;

void main() {
    vec3 n = normalize(vNormal);
    vec3 w = pow(abs(n), vec3(sharpness));
    w /= w.x + w.y + w.z;
    vec3 base = w.x * texture(map, vPosition.yz).rgb + w.y * texture(map, vPosition.zx).rgb +
                w.z * texture(map, vPosition.xy).rgb;
    colour = vec4(light * base * max(dot(n, normalize(vToLight)), 0.0), 1.0);
}
